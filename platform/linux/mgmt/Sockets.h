#pragma once

#include "bluez/Address.h"

#include <cstdint>
#include <optional>

namespace mgmt {

/// Where the kernel's Bluetooth sockets come from. Scripted endpoints stand in for it where there is no controller.
class Sockets
{
public:
    virtual ~Sockets() = default;

    /// A descriptor of the management channel, non-blocking and close-on-exec; -1 with errno set.
    virtual int OpenControl() = 0;
    /// A descriptor for raw commands to controller \p index, as above.
    virtual int OpenRaw(int index) = 0;
    /// The controller's handle of a link.
    /// \param raw a descriptor of OpenRaw(\p index)
    virtual std::optional<std::uint16_t> Handle(int raw, int index, const bluez::AddressBytes& address, bool isLe) = 0;
};

/// Those of the kernel, unless others were named.
Sockets& TheSockets();

/// Names others, which outlive their use; null names the kernel's again.
void UseSockets(Sockets* sockets);

} // namespace mgmt
