#pragma once

#include "bluez/Tree.h"

#include <string_view>

namespace people {

/// For who looks at the daemon's objects once they are all there: is told of each and wants to know of none.
class NoListener final : public bluez::TreeListener
{
    void AdapterChanged(const bluez::Adapter*, const bluez::Adapter*) override {}
    void DeviceChanged(const bluez::Device*, const bluez::Device*) override {}
    void TransportChanged(const bluez::Transport*, const bluez::Transport*) override {}
    void ManagerCame(std::string_view) override {}
};

} // namespace people
