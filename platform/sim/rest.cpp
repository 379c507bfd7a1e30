#include "sim/Call.h"
#include "sim/ColorSensor.h"
#include "sim/Failures.h"
#include "sim/Kpi.h"
#include "sim/Queue.h"
#include "sim/Side.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/Text.h"

#include <kpi_logger.h>
#include <lwipc.h>
#include <platform_root.h>
#include <ppi_ecs.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

using sim::Call;
using sim::Television;

const char* platform_root(void)
{
    return Television::Current().Root().c_str();
}

int LwipcIsDone(const char* event)
{
    return Call(__func__, event).Answers([=](Television& tv) { return event != nullptr && tv.HasFlag(event) ? 1 : 0; });
}

int ppi_ecs_get_colorsensor_info(ppi_ecs_colorsensor_info* info)
{
    Call call(__func__);
    const std::optional<int> failure = Call::Tv().failures.Take(__func__);
    if (failure || info == nullptr) {
        return call.Ends(failure.value_or(call.InvalidArgument()));
    }
    const sim::ColorSensor& sensor = Call::Tv().colorSensor;
    *info = {};
    info->illuminance = static_cast<unsigned int>(sensor.Lux());
    info->color_temperature = static_cast<unsigned int>(sensor.colorTemperature);
    return call.Ends(0);
}

namespace KPILogFramework {

CLogger* CLogger::GetInstance()
{
    static CLogger logger;
    return &logger;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the platform's engineers declare it with texts of its own.
int CLogger::AddEventLogAsync(std::string category, std::string name, std::string code, std::string description,
                              void (*callback)(int result, void* userData), void* userData)
{
    const sim::Runs runs(sim::Side::Television);
    Television& tv = Television::Current();
    const std::optional<int> failure = tv.failures.Take(__func__);
    if (failure) {
        return *failure;
    }
    const sim::Tape::Scope handles = tv.tape.Begin(
        {.kind = sim::Kind::Kpi,
         .text = category + " " + name + " " + code + " " + description,
         .function = __func__,
         .arguments = {sim::ToText(category), sim::ToText(name), sim::ToText(code), sim::ToText(description)}});
    ++tv.kpi.events;
    tv.kpi.wantingAnswers += callback != nullptr || userData != nullptr ? 1 : 0;
    if (callback != nullptr) {
        tv.queue.Post([=] { callback(0, userData); });
    }
    return 0;
}

} // namespace KPILogFramework
