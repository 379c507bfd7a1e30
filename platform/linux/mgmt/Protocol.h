// The numbers of the kernel's Bluetooth management interface, from its public description. All integers on the wire
// are little-endian.
#pragma once

#include <cstdint>

namespace mgmt {

enum class Command : std::uint16_t
{
    ReadControllerInformation = 0x0004,
    SetConnectable = 0x0007,
    GetConnections = 0x0015,
    GetConnectionInformation = 0x0031,
    LoadConnectionParameters = 0x0035,
};

enum class Event : std::uint16_t
{
    CommandComplete = 0x0001,
    CommandStatus = 0x0002,
    IndexRemoved = 0x0005,
    NewSettings = 0x0006,
    ClassOfDeviceChanged = 0x0007,
    LocalNameChanged = 0x0008,
    NewLinkKey = 0x0009,
    NewLongTermKey = 0x000A,
    DeviceConnected = 0x000B,
    DeviceDisconnected = 0x000C,
    ConnectFailed = 0x000D,
    AuthenticationFailed = 0x0011,
    DeviceUnpaired = 0x0016,
    NewIdentityResolvingKey = 0x0018,
    ControllerResume = 0x002E,
};

/// A bit of the settings that NewSettings tells.
constexpr std::uint16_t kPowered = 0x0001;

enum Status : std::uint8_t
{
    kSuccess = 0x00,
    kUnknownCommand = 0x01,
    kNotConnected = 0x02,
    kAuthenticationFailed = 0x05,
    kNoResources = 0x07,
    kTimeout = 0x08,
    kRejected = 0x0B,
    kNotSupported = 0x0C,
    kNotPowered = 0x0F,
    kPermissionDenied = 0x14,
};

enum AddressType : std::uint8_t
{
    kBrEdr = 0,
    kLePublic = 1,
    kLeRandom = 2,
};

} // namespace mgmt
