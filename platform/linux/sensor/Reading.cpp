#include "sensor/Reading.h"

#include <climits>
#include <cmath>

namespace sensor {

namespace {

constexpr double kLeastKelvin = 1000;
constexpr double kMostKelvin = 25000;

} // namespace

unsigned int ColourTemperature(double red, double green, double blue)
{
    const double x = -0.14282 * red + 1.54924 * green - 0.95641 * blue;
    const double y = -0.32466 * red + 1.57837 * green - 0.73191 * blue;
    const double z = -0.68202 * red + 0.77073 * green + 0.56332 * blue;
    const double sum = x + y + z;
    if (!(sum > 0)) {
        return 0;
    }
    // McCamy's line through the isotherms, whose epicentre is (0.3320, 0.1858).
    const double slope = (x / sum - 0.3320) / (0.1858 - y / sum);
    const double kelvin = 449 * std::pow(slope, 3) + 3525 * std::pow(slope, 2) + 6823.3 * slope + 5520.33;
    return kelvin >= kLeastKelvin && kelvin <= kMostKelvin ? ToWord(kelvin) : 0;
}

unsigned int ToWord(double value)
{
    if (!(value > 0)) {
        return 0;
    }
    return value >= INT_MAX ? INT_MAX : static_cast<unsigned int>(std::lround(value));
}

} // namespace sensor
