// What the kernel says on its management channel: messages, each with its length in one byte in front, and what the
// links and bonds make of an event's parameters.

#include "Input.h"
#include "Target.h"
#include "bluez/Address.h"
#include "bluez/Bonds.h"
#include "bluez/Links.h"
#include "bluez/Stack.h"
#include "mgmt/Bytes.h"
#include "mgmt/Client.h"
#include "mgmt/Protocol.h"
#include "mgmt/Sockets.h"
#include "support/MainLoop.h"

#include <settings/FileDescriptor.h>
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace {

using Message = std::vector<std::uint8_t>;

/// The near end of a pair of sockets stands in for the kernel's channel.
class Channel : public mgmt::Sockets
{
public:
    Channel()
    {
        std::array<int, 2> ends = {-1, -1};
        const int made = ::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data());
        fuzz::Expect(made == 0, "there are sockets");
        m_near = ends[0];
        m_far = settings::FileDescriptor(ends[1]);
        mgmt::UseSockets(this);
    }
    ~Channel() override
    {
        mgmt::UseSockets(nullptr);
    }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    void Says(const Message& message) const
    {
        // What does not fit any more is of no interest: there were many before it.
        [[maybe_unused]] const auto sent = ::send(m_far.Get(), message.data(), message.size(), MSG_NOSIGNAL);
    }

    int OpenControl() override
    {
        return std::exchange(m_near, -1);
    }
    int OpenRaw(int) override
    {
        return -1;
    }
    std::optional<std::uint16_t> Handle(int, int, const bluez::AddressBytes&, bool) override
    {
        return std::nullopt;
    }

private:
    int m_near = -1;
    settings::FileDescriptor m_far;
};

void Take(bluez::Stack& stack, mgmt::Event event, std::span<const std::uint8_t> parameters)
{
    const mgmt::Reader reader(parameters);
    switch (event) {
    case mgmt::Event::DeviceConnected:
        return stack.links.OnConnected(reader);
    case mgmt::Event::DeviceDisconnected:
        return stack.links.OnDisconnected(reader);
    case mgmt::Event::ConnectFailed:
        return stack.links.OnConnectFailed(reader);
    case mgmt::Event::NewIdentityResolvingKey:
        return stack.links.OnIdentity(reader);
    case mgmt::Event::DeviceUnpaired:
        return stack.bonds.OnUnpaired(reader);
    case mgmt::Event::AuthenticationFailed:
        return stack.bonds.OnAuthenticationFailed(reader);
    case mgmt::Event::NewLinkKey:
    case mgmt::Event::NewLongTermKey:
        return stack.bonds.OnNewKey(reader);
    default:
        return;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    const Channel channel;
    bluez::Stack& stack = bluez::Stack::Shared();
    mgmt::Client client(
        [&stack](mgmt::Event event, std::span<const std::uint8_t> parameters) { Take(stack, event, parameters); });
    fuzz::Expect(client.Open(), "the channel is open");
    client.Choose(0);
    client.Send(mgmt::Command::GetConnections, {},
                [&stack](const mgmt::Reply& reply) { stack.links.OnConnections(reply.parameters); });
    while (!input.IsAtEnd()) {
        Message message(input.Byte());
        for (std::uint8_t& byte : message) {
            byte = input.Byte();
        }
        channel.Says(message);
        support::DrainMainLoop();
    }
    client.Close();
    stack.links.DropAll();
    stack.links.Forget();
    return 0;
}
