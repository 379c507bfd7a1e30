#pragma once

#include "Slot.h"
#include "bluez/Tree.h"
#include "bus/Deadline.h"
#include "loop/Timer.h"

#include <bt_adapter.h>

#include <optional>
#include <string>

namespace bluez {

class Stack;

/// The adapter itself: its power, its name, who may see it and connect to it.
///
/// What the service wants of it is remembered and applied again to an adapter that comes back, also with a daemon that
/// was started anew: name and power at once, visibility when it is on.
class Power
{
public:
    explicit Power(Stack& stack) : m_stack(stack) {}
    Power(const Power&) = delete;
    Power& operator=(const Power&) = delete;

    int Enable();
    int Disable();
    int GetState(bt_adapter_state_e& state) const;
    int SetName(const char* name);
    int SetVisibility(bool visible, int timeoutS);
    int SetConnectable(bool connectable);
    int Reset();
    int ChipVersion(int& version);

    /// Sets Discoverable and Pairable of an adapter that is on, and waits for it.
    int SetReachable(bool discoverable, bool pairable, const bus::Deadline& deadline);
    [[nodiscard]] bool WantsVisible() const
    {
        return m_visibility.value_or(Visibility()).on;
    }
    /// The real state, asked of the daemon.
    int ReadPowered(bool& powered, const bus::Deadline& deadline) const;

    void AdapterCame(const Adapter& adapter);
    void AdapterChanged(const Adapter& adapter);
    void AdapterWent();
    void Forget();

    box::Slot<bt_adapter_state_changed_cb> onStateChanged;

private:
    struct Visibility
    {
        bool on = false;
        unsigned timeoutS = 0;
    };

    void SwitchLater(bool on);
    void Failed(int result);
    void Follow(bool powered);
    void ApplyName(const Adapter& adapter);
    void ApplyVisibility();

    Stack& m_stack;
    bool m_told = false;             ///< the state that the service knows
    bool m_isWanted = false;         ///< the service wants the adapter on
    std::optional<bool> m_switching; ///< what was asked for and is not there yet
    unsigned m_request = 0;          ///< the number of that request, so that the answer to an earlier one is told apart
    loop::Timer m_changesItsMind;
    std::optional<std::string> m_name;
    std::optional<Visibility> m_visibility;
};

} // namespace bluez
