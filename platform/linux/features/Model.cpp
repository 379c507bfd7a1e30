#include "features/Model.h"

#include "files/Root.h"
#include "files/SmallFile.h"

#include <glib.h>

#include <array>
#include <cstddef>

namespace features {

namespace {

constexpr std::array<const char*, 2> kPlaces = {"/sys/class/dmi/id/product_name", "/proc/device-tree/model"};
constexpr std::size_t kLongestModel = 256;

/// The file ends in a line feed here and in a NUL there, and the firmware may have padded the name.
std::string Trimmed(const std::string& text)
{
    constexpr const char* kPadding = " \t\r\n";
    std::string name = text.substr(0, text.find('\0'));
    const std::size_t begin = name.find_first_not_of(kPadding);
    if (begin == std::string::npos) {
        return {};
    }
    return name.substr(begin, name.find_last_not_of(kPadding) - begin + 1);
}

std::string ValidUtf8(const std::string& text)
{
    char* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    std::string result(valid);
    g_free(valid);
    return result;
}

} // namespace

std::optional<std::string> ModelOfMachine()
{
    for (const char* place : kPlaces) {
        const files::SmallFile file(files::UnderRoot(place), kLongestModel);
        const std::string name = file.Text() ? Trimmed(*file.Text()) : std::string();
        if (!name.empty()) {
            return ValidUtf8(name);
        }
    }
    return std::nullopt;
}

} // namespace features
