#include "mgmt/Sockets.h"

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace mgmt {

namespace {

// From the kernel's Bluetooth interface, which no header of the C library describes.
constexpr int kProtocolHci = 1;
constexpr std::uint16_t kNoDevice = 0xFFFF;
constexpr std::uint16_t kChannelRaw = 0;
constexpr std::uint16_t kChannelControl = 3;
constexpr int kLevelHci = 0;
constexpr int kOptionFilter = 2;
constexpr unsigned long kGetConnections = _IOR('H', 212, int);
constexpr std::size_t kMaxConnections = 32;
constexpr std::uint8_t kLinkAcl = 0x01;
constexpr std::uint8_t kLinkLe = 0x80;

struct SocketAddress
{
    sa_family_t family;
    std::uint16_t device;
    std::uint16_t channel;
};

struct Filter
{
    std::uint32_t types;
    std::array<std::uint32_t, 2> events;
    std::uint16_t opcode;
};

struct Connection
{
    std::uint16_t handle;
    bluez::AddressBytes address;
    std::uint8_t type;
    std::uint8_t out;
    std::uint16_t state;
    std::uint32_t mode;
};

struct ConnectionList
{
    std::uint16_t device;
    std::uint16_t count;
    std::array<Connection, kMaxConnections> connections;
};

class KernelSockets : public Sockets
{
public:
    int OpenControl() override
    {
        return Open(kNoDevice, kChannelControl);
    }

    int OpenRaw(int index) override
    {
        const int descriptor = Open(static_cast<std::uint16_t>(index), kChannelRaw);
        if (descriptor < 0) {
            return descriptor;
        }
        // Events only, and of them the two that answer commands.
        constexpr std::uint32_t kEventPacket = 1U << 4U;
        constexpr std::uint32_t kCommandCompleteAndStatus = 1U << 0x0EU | 1U << 0x0FU;
        const Filter filter{kEventPacket, {kCommandCompleteAndStatus, 0}, 0};
        if (setsockopt(descriptor, kLevelHci, kOptionFilter, &filter, sizeof filter) != 0) {
            return Refused(descriptor);
        }
        return descriptor;
    }

    std::optional<std::uint16_t> Handle(int raw, int index, const bluez::AddressBytes& address, bool isLe) override
    {
        ConnectionList list{};
        list.device = static_cast<std::uint16_t>(index);
        list.count = kMaxConnections;
        if (ioctl(raw, kGetConnections, &list) != 0) {
            return std::nullopt;
        }
        for (std::size_t i = 0; i < list.count && i < kMaxConnections; ++i) {
            const Connection& connection = list.connections.at(i);
            if (connection.address == address && connection.type == (isLe ? kLinkLe : kLinkAcl)) {
                return connection.handle;
            }
        }
        return std::nullopt;
    }

private:
    static int Open(std::uint16_t device, std::uint16_t channel)
    {
        const int descriptor = socket(AF_BLUETOOTH, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, kProtocolHci);
        if (descriptor < 0) {
            return -1;
        }
        const SocketAddress address{AF_BLUETOOTH, device, channel};
        sockaddr_storage storage{};
        std::memcpy(&storage, &address, sizeof address);
        if (bind(descriptor, reinterpret_cast<const sockaddr*>(&storage), sizeof address) != 0) {
            return Refused(descriptor);
        }
        return descriptor;
    }

    static int Refused(int descriptor)
    {
        const int reason = errno;
        close(descriptor);
        errno = reason;
        return -1;
    }
};

Sockets*& Named()
{
    static Sockets* named = nullptr;
    return named;
}

} // namespace

Sockets& TheSockets()
{
    static KernelSockets kernel;
    if (Sockets* others = Named(); others != nullptr) {
        return *others;
    }
    return kernel;
}

void UseSockets(Sockets* sockets)
{
    Named() = sockets;
}

} // namespace mgmt
