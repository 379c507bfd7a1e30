#pragma once

#include "GlibPointers.h"
#include "KpiRemocon.h"

#include <memory>
#include <string>

/// Sends one usage event of the remotes.
/// \param payload consumed when it is floating
inline void SendRemoteKpi(const std::string& name, const std::string& code, GVariant* payload)
{
    const Util::VariantPtr body = Util::TakeBody(payload);
    std::make_unique<KpiRemocon>(name, code, body.get())->SendKPIEvent();
}
