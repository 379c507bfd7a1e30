#include "failures/Ways.h"

#include "sim/Failures.h"

#include <gio/gio.h>

#include <bt_error.h>
#include <vconf.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <utility>

namespace failures {

namespace {

constexpr std::initializer_list<int> kUsualBluetoothCodes = {BT_ERROR_OPERATION_FAILED, BT_ERROR_ALREADY_DONE,
                                                             BT_ERROR_NOW_IN_PROGRESS};
constexpr std::initializer_list<int> kBluetoothCodes = {BT_ERROR_OUT_OF_MEMORY,
                                                        BT_ERROR_RESOURCE_BUSY,
                                                        BT_ERROR_INVALID_PARAMETER,
                                                        BT_ERROR_NOT_SUPPORTED,
                                                        BT_ERROR_NOW_IN_PROGRESS,
                                                        BT_ERROR_CANCELLED,
                                                        BT_ERROR_TIMED_OUT,
                                                        BT_ERROR_NOT_INITIALIZED,
                                                        BT_ERROR_NOT_ENABLED,
                                                        BT_ERROR_ALREADY_DONE,
                                                        BT_ERROR_OPERATION_FAILED,
                                                        BT_ERROR_NOT_IN_PROGRESS,
                                                        BT_ERROR_REMOTE_DEVICE_NOT_BONDED,
                                                        BT_ERROR_AUTH_REJECTED,
                                                        BT_ERROR_AUTH_FAILED,
                                                        BT_ERROR_REMOTE_DEVICE_NOT_FOUND,
                                                        BT_ERROR_SERVICE_SEARCH_FAILED,
                                                        BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED};

/// What is given back stays with the platform when that fails, as nobody can give it back once more.
constexpr std::string_view kGivingBack[] = {"bt_adapter_free_device_info", "bt_audio_free_connected_info"};

/// Functions that give a text or nothing: whatever the code, there is one failure.
constexpr std::string_view kTexts[] = {"vconf_get_str", "vconf_keynode_get_str"};

std::vector<Way> Codes(std::initializer_list<int> codes)
{
    std::vector<Way> ways;
    for (const int code : codes) {
        ways.push_back({.code = code});
    }
    return ways;
}

/// Ends that the call of a function of the platform can have.
std::vector<Way> CodesAndException(std::initializer_list<int> codes)
{
    std::vector<Way> ways = Codes(codes);
    ways.push_back({.throws = true});
    return ways;
}

/// A message whose answer the service uses.
std::vector<Way> WaysOfQuestion(bool all)
{
    using sim::Failures;
    std::vector<Way> ways = Codes({G_IO_ERROR_CLOSED, Failures::kNoAnswer, Failures::kAnswersNothing,
                                   Failures::kAnswersOther, Failures::kAnswersError});
    ways.push_back({.siblings = Siblings::Hang});
    for (std::size_t error = 1; all && error < std::size(Failures::kErrors); ++error) {
        ways.push_back({.code = Failures::kAnswersError - static_cast<int>(error)});
    }
    return ways;
}

/// A message whose answer nobody reads.
std::vector<Way> WaysOfCall()
{
    return {{.code = G_IO_ERROR_CLOSED}, {.siblings = Siblings::Refuse}, {.siblings = Siblings::Hang}};
}

std::vector<Way> WaysOnTheBus(std::string_view function, bool all)
{
    if (function == "g_dbus_connection_send_message") {
        return WaysOfCall();
    }
    if (function.starts_with("g_dbus_connection_send_message")) {
        return WaysOfQuestion(all);
    }
    if (function == "g_bus_own_name") {
        return {{.name = Name::IsTaken}, {.name = Name::IsLost}};
    }
    return Codes({G_IO_ERROR_CLOSED});
}

} // namespace

std::vector<Way> WaysOf(std::string_view function, Width width)
{
    const bool all = width == Width::Every;
    if (function == "__dlog_print") {
        return all ? Codes({-1}) : std::vector<Way>();
    }
    if (std::ranges::find(kGivingBack, function) != std::end(kGivingBack)) {
        return {};
    }
    if (function.starts_with("g_")) {
        return WaysOnTheBus(function, all);
    }
    if (function == "LwipcIsDone") {
        return CodesAndException({0, -1});
    }
    if (function.starts_with("bt_")) {
        return CodesAndException(all ? kBluetoothCodes : kUsualBluetoothCodes);
    }
    if (std::ranges::find(kTexts, function) != std::end(kTexts)) {
        return CodesAndException({VCONF_ERROR});
    }
    if (function.starts_with("vconf_") || function.starts_with("system_info_")) { // the same three numbers
        return all ? CodesAndException({VCONF_ERROR, VCONF_ERROR_NOT_FOUND, VCONF_ERROR_WRONG_TYPE})
                   : CodesAndException({VCONF_ERROR});
    }
    return CodesAndException({-1});
}

std::string ToText(const Way& way)
{
    if (way.throws) {
        return "throws";
    }
    if (way.siblings != Siblings::Answer) {
        return way.siblings == Siblings::Hang ? "is answered by nobody any more" : "is answered by errors from now on";
    }
    if (way.name != Name::Stays) {
        return way.name == Name::IsTaken ? "gives no name" : "gives a name that is lost";
    }
    return "fails with " + std::to_string(way.code);
}

} // namespace failures
