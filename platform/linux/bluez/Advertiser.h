#pragma once

#include "bluez/Tree.h"
#include "bluez_dbus.h"
#include "bus/Deadline.h"
#include "bus/Handles.h"
#include "loop/Timer.h"

#include <glib.h>

#include <cstdint>
#include <vector>

namespace bluez {

class Stack;

/// The manufacturer data that others see: in the extended inquiry response, which only raw commands can change and
/// which the kernel builds anew whenever name, class or services change, and in a low-energy advertisement.
class Advertiser
{
public:
    explicit Advertiser(Stack& stack) : m_stack(stack) {}
    Advertiser(const Advertiser&) = delete;
    Advertiser& operator=(const Advertiser&) = delete;
    ~Advertiser();

    /// \param data with the company id in front, low byte first
    int Set(const char* data, int length);

    void AdapterChanged(const Adapter* before, const Adapter* now);
    void AdapterWent();
    /// The kernel has built the response anew.
    void ResponseChanged();
    void BusWent();
    void Forget();

private:
    [[nodiscard]] bool WriteResponse(const bus::Deadline& deadline) const;
    void Register(const Adapter& adapter);
    void Withdraw();
    [[nodiscard]] GVariant* Data() const;

    Stack& m_stack;
    std::vector<std::uint8_t> m_data; ///< empty: nothing was set
    loop::Timer m_soon;
    bus::ObjectPtr<BluezLEAdvertisement1> m_advertisement; ///< exported while it is registered
    bool m_isRegistered = false;
};

} // namespace bluez
