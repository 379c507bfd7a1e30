#include "NotSupported.h"
#include "sensor/Iio.h"
#include "sensor/Proxy.h"
#include "sensor/Reading.h"

#include <ppi_ecs.h>

#include <optional>

int ppi_ecs_get_colorsensor_info(ppi_ecs_colorsensor_info* info)
{
    constexpr int kFailed = -1;
    if (info == nullptr) {
        return kFailed;
    }
    bool isInKernel = false;
    bool isInDaemon = false;
    std::optional<sensor::Reading> reading = sensor::ReadIio(&isInKernel);
    if (!reading) {
        reading = sensor::Proxy::OfProcess().Read(&isInDaemon);
    }
    if (!reading) {
        return isInKernel || isInDaemon ? kFailed : NotSupported(__func__, "the box has no light sensor");
    }
    *info = {reading->red, reading->green, reading->blue, reading->clear, 0, reading->lux, reading->kelvin};
    return 0;
}
