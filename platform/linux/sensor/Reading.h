#pragma once

#include <optional>

namespace sensor {

/// What a light sensor says.
struct Reading
{
    unsigned int red = 0; ///< in the sensor's own steps, like the next three
    unsigned int green = 0;
    unsigned int blue = 0;
    unsigned int clear = 0;
    unsigned int lux = 0;
    unsigned int kelvin = 0; ///< 0 for a sensor that knows no colours
};

/// The colour temperature of light that a sensor sees in three colours, in kelvin: through the CIE 1931 chromaticity,
/// with the coefficients usual for filtered photodiodes, and McCamy's approximation (Color Research and Application
/// 17, 1992). 0 where there is too little light to tell, and outside of 1000 to 25000 K.
unsigned int ColourTemperature(double red, double green, double blue);

/// A number of the kernel or of another program as a word that readers take as signed: rounded, 0 for what is no
/// number or less.
unsigned int ToWord(double value);

} // namespace sensor
