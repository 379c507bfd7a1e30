#include "sim/Call.h"
#include "sim/ColorSensor.h"
#include "sim/Failures.h"
#include "sim/Kpi.h"
#include "sim/Queue.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <kpi_logger.h>
#include <lwipc.h>
#include <platform_root.h>
#include <ppi_ecs.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
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

int CLogger::AddEventLogAsync(std::string category, std::string name, std::string code, std::string description,
                              void (*callback)(int result, void* userData), void* userData)
{
    Television& tv = Television::Current();
    const std::optional<int> failure = tv.failures.Take(__func__);
    if (failure) {
        return *failure;
    }
    tv.tape.Record({.kind = sim::Kind::Kpi, .text = category + " " + name + " " + code + " " + description});
    tv.kpi.events.push_back({std::move(category), std::move(name), std::move(code), std::move(description),
                             callback != nullptr || userData != nullptr});
    if (callback != nullptr) {
        tv.queue.Post([=] { callback(0, userData); });
    }
    return 0;
}

} // namespace KPILogFramework
