#pragma once

#include "bluez/Address.h"
#include "bus/Deadline.h"

#include <settings/FileDescriptor.h>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace hci {

/// Raw commands to a controller, for what neither the daemon nor the management interface offers. It needs
/// CAP_NET_RAW. Make one for each purpose: an open channel is woken by whatever the controller does.
class Controller
{
public:
    /// \param index the kernel's number of the controller
    explicit Controller(int index);

    [[nodiscard]] bool IsOpen() const
    {
        return m_socket.IsOpen();
    }

    /// The revision of the firmware in the upper 16 bits, the subversion of the link manager in the lower.
    std::optional<std::uint32_t> Version(const bus::Deadline& deadline);

    /// Puts \p manufacturerData, company id first, into the extended inquiry response and leaves the rest of it.
    /// \return whether the response now holds it
    bool SetManufacturerData(std::span<const std::uint8_t> manufacturerData, const bus::Deadline& deadline);

    enum class Outcome
    {
        Done,
        NotConnected,
        Failed
    };

    /// Has the device listen at each connection event, or lets it sleep through some of them.
    Outcome SetNoLatency(const bluez::AddressBytes& address, bool isLe, bool on, const bus::Deadline& deadline);

private:
    using Bytes = std::vector<std::uint8_t>;

    /// \return what follows the status; nothing when the command failed or was not answered in time
    std::optional<Bytes> Command(std::uint16_t opcode, std::span<const std::uint8_t> parameters,
                                 const bus::Deadline& deadline) const;

    int m_index;
    settings::FileDescriptor m_socket;
};

/// The extended inquiry response \p present with \p manufacturerData in the place of any that it holds; nothing when
/// there is no room.
std::optional<std::vector<std::uint8_t>> WithManufacturerData(std::span<const std::uint8_t> present,
                                                              std::span<const std::uint8_t> manufacturerData);

} // namespace hci
