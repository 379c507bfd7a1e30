#include "sensor/Iio.h"

#include "files/Root.h"
#include "files/SmallFile.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace sensor {

namespace {

constexpr const char* kDevices = "/sys/bus/iio/devices";
constexpr std::string_view kPrefix = "iio:device";
constexpr std::size_t kMostBytes = 64;

using Number = std::optional<double>;

/// One device's folder.
class Device
{
public:
    explicit Device(std::string folder) : m_folder(std::move(folder)) {}

    /// Nothing for a file that is not there, cannot be read or holds no number.
    [[nodiscard]] Number Read(const std::string& name) const
    {
        const files::SmallFile file(m_folder + "/" + name, kMostBytes);
        if (!file.Text()) {
            return std::nullopt;
        }
        char* end = nullptr;
        const double value = g_ascii_strtod(file.Text()->c_str(), &end);
        return end != file.Text()->c_str() && std::isfinite(value) ? Number(value) : std::nullopt;
    }

    /// A channel in its unit: as the driver has it, or made of its steps.
    [[nodiscard]] Number Channel(const std::string& name) const
    {
        if (const Number input = Read(name + "_input")) {
            return input;
        }
        const Number raw = Read(name + "_raw");
        return raw ? Number((*raw + Read(name + "_offset").value_or(0)) * Read(name + "_scale").value_or(1))
                   : std::nullopt;
    }

    [[nodiscard]] bool Has(const std::string& name) const
    {
        return g_file_test((m_folder + "/" + name).c_str(), G_FILE_TEST_EXISTS) != FALSE;
    }

    /// Whether it senses light, readable or not.
    [[nodiscard]] bool IsLightSensor() const
    {
        static constexpr std::array<const char*, 3> kFiles = {"in_illuminance_input", "in_illuminance_raw",
                                                              "in_intensity_red_raw"};
        return std::any_of(kFiles.begin(), kFiles.end(), [this](const char* name) { return Has(name); });
    }

private:
    std::string m_folder;
};

/// In the order of their numbers, in which the kernel found them.
std::vector<Device> Devices()
{
    std::vector<std::pair<int, Device>> found;
    const std::string folder = files::UnderRoot(kDevices);
    GDir* entries = g_dir_open(folder.c_str(), 0, nullptr);
    if (entries == nullptr) {
        return {};
    }
    for (const char* name = g_dir_read_name(entries); name != nullptr; name = g_dir_read_name(entries)) {
        const std::string_view view(name);
        int number = 0;
        if (view.starts_with(kPrefix) &&
            std::from_chars(view.data() + kPrefix.size(), view.data() + view.size(), number).ec == std::errc()) {
            found.emplace_back(number, Device(folder + "/" + name));
        }
    }
    g_dir_close(entries);
    std::sort(found.begin(), found.end(), [](const auto& one, const auto& other) { return one.first < other.first; });
    std::vector<Device> devices;
    devices.reserve(found.size());
    for (auto& [number, device] : found) {
        devices.push_back(std::move(device));
    }
    return devices;
}

std::optional<Reading> ReadDevice(const Device& device)
{
    const Number lux = device.Channel("in_illuminance");
    const Number red = device.Channel("in_intensity_red");
    const Number green = device.Channel("in_intensity_green");
    const Number blue = device.Channel("in_intensity_blue");
    const bool hasColours = red && green && blue;
    if (!lux && !hasColours) {
        return std::nullopt;
    }
    Reading reading;
    reading.red = ToWord(red.value_or(0));
    reading.green = ToWord(green.value_or(0));
    reading.blue = ToWord(blue.value_or(0));
    reading.clear = ToWord(device.Channel("in_intensity_clear").value_or(0));
    // Green is where the eye is: without a channel of its own it stands for the brightness.
    reading.lux = ToWord(lux ? *lux : *green);
    const Number kelvin = device.Channel("in_colortemp");
    reading.kelvin = kelvin ? ToWord(*kelvin) : hasColours ? ColourTemperature(*red, *green, *blue) : 0;
    return reading;
}

} // namespace

std::optional<Reading> ReadIio(bool* isThere)
{
    *isThere = false;
    for (const Device& device : Devices()) {
        if (device.IsLightSensor()) {
            *isThere = true;
            if (const std::optional<Reading> reading = ReadDevice(device)) {
                return reading;
            }
        }
    }
    return std::nullopt;
}

} // namespace sensor
