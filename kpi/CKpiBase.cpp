#include "CKpiBase.h"

#include "DlogUtil.h"

#include <glib.h>

#include <kpi_logger.h>

#include <cstddef>
#include <stdexcept>
#include <utility>

namespace {

/// Length in bytes of the character that begins at \p index.
/// \throws std::range_error when no whole character begins there
std::size_t CharacterLength(const std::string& text, std::size_t index)
{
    const auto firstByte = static_cast<unsigned char>(text[index]);
    if (firstByte < 0x80) {
        return 1;
    }
    const gunichar codePoint = g_utf8_get_char_validated(text.data() + index, static_cast<gssize>(text.size() - index));
    // What it answers for malformed text, or for text that is cut short, is no valid code point either.
    if (g_unichar_validate(codePoint) == FALSE) {
        throw std::range_error("text is not valid UTF-8");
    }
    return static_cast<std::size_t>(g_unichar_to_utf8(codePoint, nullptr));
}

std::string Mask(const std::string& text)
{
    std::string masked;
    bool isHidden = true;
    for (std::size_t index = 0; index < text.size(); isHidden = !isHidden) {
        const std::size_t length = CharacterLength(text, index);
        masked += isHidden ? "*" : text.substr(index, length);
        index += length;
    }
    return masked;
}

} // namespace

CKpiBase::CKpiBase(std::string category, std::string eventName, std::string eventCode)
    : m_category(std::move(category)),
      m_eventName(std::move(eventName)),
      m_eventCode(std::move(eventCode))
{}

CKpiBase::~CKpiBase() = default;

void CKpiBase::SendKPIEvent()
{
    if (m_category.empty() || m_eventName.empty() || m_eventCode.empty() || m_description.empty()) {
        LOGE("Invalid kpi info is saved so do not send kpi data to server");
        return;
    }
    KPILogFramework::CLogger::GetInstance()->AddEventLogAsync(m_category, m_eventName, m_eventCode, m_description,
                                                              nullptr, nullptr);
}

bool CKpiBase::IsValidKpiInfo() const
{
    return m_category.empty() || m_eventName.empty() || m_eventCode.empty() || m_description.empty();
}

std::string CKpiBase::GetMaskedString(const std::string& text) const
{
    try {
        std::string masked = Mask(text);
        LOGE("data = %s maskedString = %s", text.c_str(), masked.c_str());
        return masked;
    } catch (const std::range_error& error) {
        LOGE("%s", error.what());
        return {};
    }
}
