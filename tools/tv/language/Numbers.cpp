#include "tv/language/Numbers.h"

#include <bt_error.h>
#include <device_power.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <system_error>
#include <utility>

namespace language {

namespace {

constexpr std::string_view kPrefix = "BT_ERROR_";

constexpr std::pair<std::string_view, int> kErrors[] = {
    {"OUT_OF_MEMORY", BT_ERROR_OUT_OF_MEMORY},
    {"RESOURCE_BUSY", BT_ERROR_RESOURCE_BUSY},
    {"INVALID_PARAMETER", BT_ERROR_INVALID_PARAMETER},
    {"NOT_SUPPORTED", BT_ERROR_NOT_SUPPORTED},
    {"NOW_IN_PROGRESS", BT_ERROR_NOW_IN_PROGRESS},
    {"CANCELLED", BT_ERROR_CANCELLED},
    {"TIMED_OUT", BT_ERROR_TIMED_OUT},
    {"NOT_INITIALIZED", BT_ERROR_NOT_INITIALIZED},
    {"NOT_ENABLED", BT_ERROR_NOT_ENABLED},
    {"ALREADY_DONE", BT_ERROR_ALREADY_DONE},
    {"OPERATION_FAILED", BT_ERROR_OPERATION_FAILED},
    {"NOT_IN_PROGRESS", BT_ERROR_NOT_IN_PROGRESS},
    {"REMOTE_DEVICE_NOT_BONDED", BT_ERROR_REMOTE_DEVICE_NOT_BONDED},
    {"AUTH_REJECTED", BT_ERROR_AUTH_REJECTED},
    {"AUTH_FAILED", BT_ERROR_AUTH_FAILED},
    {"REMOTE_DEVICE_NOT_FOUND", BT_ERROR_REMOTE_DEVICE_NOT_FOUND},
    {"SERVICE_SEARCH_FAILED", BT_ERROR_SERVICE_SEARCH_FAILED},
    {"REMOTE_DEVICE_NOT_CONNECTED", BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED},
};

constexpr std::pair<std::string_view, int> kPowerOptions[] = {
    {"reset", DEVICE_POWEROFF_OPTION_RESET},
    {"reset-alt", DEVICE_POWEROFF_OPTION_RESET_ALT},
    {"ignore-lock", DEVICE_POWEROFF_OPTION_IGNORE_LOCK},
    {"suspend-off", DEVICE_POWEROFF_OPTION_SUSPEND_OFF},
};

constexpr std::pair<std::string_view, std::int64_t> kUnits[] = {
    {"d", 86'400'000}, {"h", 3'600'000}, {"min", 60'000}, {"s", 1'000}, {"ms", 1},
};

template <typename Table>
std::vector<std::string> NamesOf(const Table& table)
{
    std::vector<std::string> names;
    for (const auto& [name, value] : table) {
        names.emplace_back(name);
    }
    return names;
}

template <typename Table>
std::optional<int> Find(const Table& table, std::string_view name)
{
    for (const auto& [known, value] : table) {
        if (known == name) {
            return value;
        }
    }
    return std::nullopt;
}

/// Digits of this base and nothing else.
template <typename Number>
std::optional<Number> Whole(std::string_view text, int base)
{
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc() && end == text.data() + text.size() && !text.empty() ? std::optional(number)
                                                                                     : std::nullopt;
}

} // namespace

std::optional<int> NumberIn(std::string_view text)
{
    if (text.starts_with("0x") || text.starts_with("0X")) {
        const std::optional<std::uint32_t> bits = Whole<std::uint32_t>(text.substr(2), 16);
        return bits ? std::optional(static_cast<int>(*bits)) : std::nullopt;
    }
    return Whole<int>(text, 10);
}

std::optional<std::chrono::milliseconds> DurationIn(std::string_view text)
{
    constexpr std::int64_t kLongest = std::chrono::milliseconds(kLongestTime).count();
    std::int64_t total = 0;
    if (text.empty()) {
        return std::nullopt;
    }
    while (!text.empty()) {
        const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
        const std::optional<std::int64_t> number = Whole<std::int64_t>(text.substr(0, digits), 10);
        text.remove_prefix(digits);
        const std::size_t letters = std::min(text.find_first_of("0123456789"), text.size());
        const auto unit = std::ranges::find(kUnits, text.substr(0, letters), [](const auto& one) { return one.first; });
        if (!number || unit == std::end(kUnits) || *number > kLongest / unit->second) {
            return std::nullopt;
        }
        total += *number * unit->second;
        if (total > kLongest) {
            return std::nullopt;
        }
        text.remove_prefix(letters);
    }
    return std::chrono::milliseconds(total);
}

std::string AsDuration(std::chrono::milliseconds time)
{
    std::string text;
    std::int64_t left = time.count();
    for (const auto& [name, length] : kUnits) {
        if (left >= length) {
            text += std::to_string(left / length) + std::string(name);
            left %= length;
        }
    }
    return text.empty() ? "0s" : text;
}

std::optional<int> ErrorCodeIn(std::string_view text)
{
    const std::optional<int> named = Find(kErrors, text.starts_with(kPrefix) ? text.substr(kPrefix.size()) : text);
    const std::optional<int> code = named ? named : NumberIn(text);
    return code != 0 ? code : std::nullopt;
}

std::vector<std::string> ErrorNames()
{
    return NamesOf(kErrors);
}

std::string AsErrorCode(int code)
{
    for (const auto& [name, value] : kErrors) {
        if (value == code) {
            return std::string(name);
        }
    }
    return std::to_string(code);
}

std::optional<int> PowerOptionIn(std::string_view text)
{
    if (const std::optional<int> number = NumberIn(text)) {
        return number;
    }
    int option = 0;
    while (true) {
        const std::size_t plus = text.find('+');
        const std::optional<int> part = Find(kPowerOptions, text.substr(0, plus));
        if (!part) {
            return std::nullopt;
        }
        option |= *part;
        if (plus == std::string_view::npos) {
            return option;
        }
        text.remove_prefix(plus + 1);
    }
}

std::vector<std::string> PowerOptionNames()
{
    return NamesOf(kPowerOptions);
}

} // namespace language
