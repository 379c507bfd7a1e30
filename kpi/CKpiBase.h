#pragma once

#include "IKpiBase.h"

#include <string>

/// What all usage events share: four texts that a derived class fills when it is made, and the way to the collector.
/// An event is made, sent once and forgotten.
class CKpiBase : public IKpiBase
{
public:
    ~CKpiBase() override;

    /// Queues the event with the collector, whose business delivery is. An event that lacks a text is not sent.
    void SendKPIEvent() override;

    /// True when a text is missing: the reverse of what the name says, and relied upon as it is.
    bool IsValidKpiInfo() const;

    /// The text with every second character, the first one included, replaced by "*". A character is a code point.
    /// \return empty for what is not UTF-8
    std::string GetMaskedString(const std::string& text) const;

protected:
    CKpiBase(std::string category, std::string eventName, std::string eventCode);

    std::string m_category;
    std::string m_eventName;
    std::string m_eventCode;
    /// Empty until, and unless, the payload could be described.
    std::string m_description;
};
