#include "linux/PlatformLog.h"
#include "linux/Root.h"
#include "sensor/Reading.h"
#include "support/PrivateBus.h"

#include <gtest/gtest.h>

#include <ppi_ecs.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <limits>
#include <string>

namespace {

using linux_test::InRoot;
using linux_test::LogLinesWith;
using linux_test::WriteFile;

const std::string kFirst = "/sys/bus/iio/devices/iio:device0/";
const std::string kSecond = "/sys/bus/iio/devices/iio:device1/";

ppi_ecs_colorsensor_info Read(int expected = 0)
{
    ppi_ecs_colorsensor_info info = {9, 9, 9, 9, 9, 9, 9};
    EXPECT_EQ(ppi_ecs_get_colorsensor_info(&info), expected);
    if (expected != 0) {
        EXPECT_EQ(info.illuminance, 9U); // a failure touches nothing
        EXPECT_EQ(info.w0, 9U);
    }
    return info;
}

TEST(SensorTest, NullIsAFailure)
{
    EXPECT_EQ(ppi_ecs_get_colorsensor_info(nullptr), -1);
}

TEST(SensorTest, ASensorOfTheKernelIsReadInItsUnits)
{
    WriteFile(kFirst + "in_illuminance_input", "123.6\n");
    WriteFile(kFirst + "in_intensity_red_raw", "300\n");
    WriteFile(kFirst + "in_intensity_green_raw", "400\n");
    WriteFile(kFirst + "in_intensity_blue_raw", "350\n");
    WriteFile(kFirst + "in_intensity_clear_raw", "1100\n");
    WriteFile(kFirst + "in_colortemp_input", "4321\n");
    const ppi_ecs_colorsensor_info info = Read();
    EXPECT_EQ(info.w0, 300U);
    EXPECT_EQ(info.w1, 400U);
    EXPECT_EQ(info.w2, 350U);
    EXPECT_EQ(info.w3, 1100U);
    EXPECT_EQ(info.w4, 0U);
    EXPECT_EQ(info.illuminance, 124U);
    EXPECT_EQ(info.color_temperature, 4321U);
}

TEST(SensorTest, StepsAreMadeLuxByOffsetAndScale)
{
    WriteFile(kFirst + "in_illuminance_raw", "1000\n");
    WriteFile(kFirst + "in_illuminance_offset", "-200\n");
    WriteFile(kFirst + "in_illuminance_scale", "0.25\n");
    EXPECT_EQ(Read().illuminance, 200U);
    EXPECT_EQ(Read().color_temperature, 0U);
}

TEST(SensorTest, WithoutATemperatureOfItsOwnTheColoursTellIt)
{
    WriteFile(kFirst + "in_intensity_red_raw", "1000\n");
    WriteFile(kFirst + "in_intensity_green_raw", "1000\n");
    WriteFile(kFirst + "in_intensity_blue_raw", "1000\n");
    const ppi_ecs_colorsensor_info info = Read();
    EXPECT_EQ(info.illuminance, 1000U);
    EXPECT_EQ(info.color_temperature, sensor::ColourTemperature(1000, 1000, 1000));
}

TEST(SensorTest, RedderLightIsWarmer)
{
    const unsigned int warm = sensor::ColourTemperature(1000, 700, 400);
    const unsigned int even = sensor::ColourTemperature(1000, 1000, 1000);
    const unsigned int cold = sensor::ColourTemperature(800, 1000, 1150);
    EXPECT_GT(warm, 1000U);
    EXPECT_LT(warm, even);
    EXPECT_LT(even, cold);
    EXPECT_LE(cold, 25000U);
}

TEST(SensorTest, DarknessAndNonsenseHaveNoTemperature)
{
    EXPECT_EQ(sensor::ColourTemperature(0, 0, 0), 0U);
    EXPECT_EQ(sensor::ColourTemperature(-1, -1, -1), 0U);
    EXPECT_EQ(sensor::ColourTemperature(1e9, 0, 0), 0U);
    EXPECT_EQ(sensor::ColourTemperature(std::nan(""), 1, 1), 0U);
}

TEST(SensorTest, WordsStayWhatASignedReaderTakesForThem)
{
    EXPECT_EQ(sensor::ToWord(0.4), 0U);
    EXPECT_EQ(sensor::ToWord(0.5), 1U);
    EXPECT_EQ(sensor::ToWord(-3), 0U);
    EXPECT_EQ(sensor::ToWord(std::nan("")), 0U);
    EXPECT_EQ(sensor::ToWord(2147483646.0), 2147483646U);
    EXPECT_EQ(sensor::ToWord(1e300), 2147483647U);
    EXPECT_EQ(sensor::ToWord(std::numeric_limits<double>::infinity()), 2147483647U);
}

TEST(SensorTest, TheFirstDeviceThatSensesLightCounts)
{
    WriteFile(kFirst + "in_accel_x_raw", "5\n");
    WriteFile("/sys/bus/iio/devices/iio:device10/in_illuminance_input", "10\n");
    WriteFile(kSecond + "in_illuminance_input", "1\n");
    WriteFile("/sys/bus/iio/devices/trigger0/in_illuminance_input", "7\n");
    EXPECT_EQ(Read().illuminance, 1U);
}

TEST(SensorTest, ASensorThatHoldsNonsenseFailsThisTime)
{
    const support::PrivateBus bus;
    for (const char* text : {"", "bright\n", "nan\n", "inf\n"}) {
        WriteFile(kFirst + "in_illuminance_input", text);
        Read(-1);
    }
    WriteFile(kFirst + "in_illuminance_input", "12\n");
    EXPECT_EQ(Read().illuminance, 12U);
}

TEST(SensorTest, ASensorThatIsPulledAndComesBackIsReadAgain)
{
    const support::PrivateBus bus;
    WriteFile(kFirst + "in_illuminance_input", "12\n");
    EXPECT_EQ(Read().illuminance, 12U);
    std::filesystem::remove_all(InRoot(kFirst));
    Read(-95);
    WriteFile(kFirst + "in_illuminance_input", "13\n");
    EXPECT_EQ(Read().illuminance, 13U);
}

TEST(SensorTest, ABoxWithoutASensorOrABusSaysSoOnce)
{
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    Read(-95);
    Read(-95);
    EXPECT_EQ(LogLinesWith("ppi_ecs_get_colorsensor_info is not supported: the box has no light sensor"), 1);
}

TEST(SensorTest, ABoxWithoutTheDaemonSaysSoOnce)
{
    const support::PrivateBus bus;
    Read(-95);
    Read(-95);
    EXPECT_EQ(LogLinesWith("is not supported"), 1);
}

} // namespace
