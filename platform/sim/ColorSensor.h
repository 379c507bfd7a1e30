#pragma once

#include <chrono>
#include <functional>

namespace sim {

/// The sensor of the light in the room: a fixed reading, or a curve over the time that passes.
class ColorSensor
{
public:
    [[nodiscard]] int Lux() const
    {
        return curve ? curve() : lux;
    }

    int lux = 120;
    int colorTemperature = 5200; ///< kelvin
    std::function<int()> curve;
};

} // namespace sim
