#include "orders/Inside.h"

#include "Bluetooth/BluetoothEventHandler.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "TvStatusEventHandler/TvStatusEventHandler.h"
#include "orders/Symbols.h"

#include <glib.h>

#include <bt_adapter.h>
#include <bt_hid.h>
#include <device_power.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

namespace {

CSmartRcEventHandler* remotes = nullptr;
CTvStatusEventHandler* power = nullptr;
CBluetoothEventHandler* bluetooth = nullptr;

/// Gives away a private member: who instantiates a template may name one.
template <typename Tag, typename Tag::Member Place>
struct Reveals
{
    friend typename Tag::Member PlaceOf(Tag)
    {
        return Place;
    }
};

struct WheelsAddress
{
    using Member = std::string CSmartRcEventHandler::*;
    friend Member PlaceOf(WheelsAddress);
};
template struct Reveals<WheelsAddress, &CSmartRcEventHandler::m_halvoWheelAddress>;

} // namespace

// NOLINTBEGIN(clang-diagnostic-reserved-identifier): these names are the linker's
extern "C" {
int __real_bt_hid_set_smart_rc_connection_cb(bt_hid_smart_rc_connection_cb callback, void* userData);
int __wrap_bt_hid_set_smart_rc_connection_cb(bt_hid_smart_rc_connection_cb callback, void* userData);
int __real_device_power_subscribe_standby(device_power_standby_cb callback, void* userData);
int __wrap_device_power_subscribe_standby(device_power_standby_cb callback, void* userData);
int __real_bt_adapter_set_state_changed_cb(bt_adapter_state_changed_cb callback, void* userData);
int __wrap_bt_adapter_set_state_changed_cb(bt_adapter_state_changed_cb callback, void* userData);

// Who is told of something says where he lives.

int __wrap_bt_hid_set_smart_rc_connection_cb(bt_hid_smart_rc_connection_cb callback, void* userData)
{
    remotes = static_cast<CSmartRcEventHandler*>(userData);
    return __real_bt_hid_set_smart_rc_connection_cb(callback, userData);
}

int __wrap_device_power_subscribe_standby(device_power_standby_cb callback, void* userData)
{
    power = static_cast<CTvStatusEventHandler*>(userData);
    return __real_device_power_subscribe_standby(callback, userData);
}

int __wrap_bt_adapter_set_state_changed_cb(bt_adapter_state_changed_cb callback, void* userData)
{
    bluetooth = static_cast<CBluetoothEventHandler*>(userData);
    return __real_bt_adapter_set_state_changed_cb(callback, userData);
}
}
// NOLINTEND(clang-diagnostic-reserved-identifier)

namespace orders {

namespace {

constexpr std::uint32_t kFarTooManySources = 1U << 24U;
constexpr std::uint64_t kLowestPointer = 1ULL << 40U; // of this platform's heap, stack and libraries
constexpr std::uint64_t kHighestPointer = 1ULL << 47U;

/// How the names of the files begin whose variables are the service's: "Battery.cpp", ..., and those of several
/// sources that are compiled as one.
constexpr std::string_view kFiles[] = {ORDERS_SERVICE_FILES};

std::uint64_t WithoutSource(std::uint32_t half)
{
    if (half < Inside::kFirstSource || half >= kFarTooManySources) {
        return half;
    }
    return g_main_context_find_source_by_id(nullptr, half) != nullptr ? 1 : 0;
}

std::uint64_t Canonical(std::uint64_t word)
{
    constexpr unsigned int kHalf = 32;
    if (word >= kLowestPointer && word < kHighestPointer) {
        return kLowestPointer;
    }
    return WithoutSource(static_cast<std::uint32_t>(word)) | WithoutSource(static_cast<std::uint32_t>(word >> kHalf))
                                                                 << kHalf;
}

/// A sanitizer counts the guard behind a variable into its size and forbids to read it, so it is not asked here: the
/// guard holds always the same.
__attribute__((no_sanitize("address"))) std::uint64_t WordAt(const unsigned char* bytes, std::size_t size)
{
    constexpr unsigned int kBitsOfByte = 8;
    std::uint64_t word = 0;
    for (std::size_t at = size; at > 0; --at) {
        word = word << kBitsOfByte | bytes[at - 1];
    }
    return word;
}

void TellBytes(const void* place, std::size_t size, const std::function<void(std::uint64_t)>& take)
{
    const auto* bytes = static_cast<const unsigned char*>(place);
    for (std::size_t at = 0; at < size; at += sizeof(std::uint64_t)) {
        take(Canonical(WordAt(bytes + at, std::min(sizeof(std::uint64_t), size - at))));
    }
}

/// What a compiler or a sanitizer added is none of the service's.
bool IsOfService(const Symbol& variable)
{
    return !variable.name.starts_with("__") &&
           std::ranges::any_of(kFiles, [&](std::string_view file) { return variable.file.starts_with(file); });
}

const std::vector<Symbol>& Variables()
{
    static const std::vector<Symbol> variables = [] {
        std::vector<Symbol> found;
        std::ranges::copy_if(OwnSymbols().variables, std::back_inserter(found), IsOfService);
        return found;
    }();
    return variables;
}

} // namespace

void Inside::Prepare()
{
    Variables();
    guint id = 0;
    while (id < kFirstSource) {
        id = g_idle_add([](gpointer) { return G_SOURCE_REMOVE; }, nullptr);
        g_source_remove(id);
    }
}

void Inside::Tell(const std::function<void(std::uint64_t)>& take)
{
    for (const Symbol& variable : Variables()) {
        TellBytes(reinterpret_cast<const void*>(variable.address), variable.size, take);
    }
    TellBytes(remotes, sizeof *remotes, take);
    TellBytes(power, sizeof *power, take);
    TellBytes(bluetooth, sizeof *bluetooth, take);
}

std::vector<std::string> Inside::NamesOfVariables()
{
    std::vector<std::string> names;
    for (const Symbol& variable : Variables()) {
        names.push_back(variable.name);
    }
    std::ranges::sort(names);
    return names;
}

std::string Inside::RemotesAddress()
{
    return remotes->GetSmartRcAddress();
}

std::string Inside::WheelsAddress()
{
    return remotes->*PlaceOf(::WheelsAddress());
}

} // namespace orders
