#pragma once

/// A usage event, ready to be handed to the collector.
class IKpiBase
{
public:
    IKpiBase() = default;
    virtual ~IKpiBase() = default;
    IKpiBase(const IKpiBase&) = delete;
    IKpiBase& operator=(const IKpiBase&) = delete;

    virtual void SendKPIEvent() = 0;
};
