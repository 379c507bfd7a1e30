// A place for one callback of the service.
#pragma once

#include <bt_error.h>

namespace box {

template <typename Callback>
class Slot
{
public:
    /// A later callback replaces an earlier one. Null is refused.
    int Set(Callback callback, void* userData)
    {
        if (callback == nullptr) {
            return BT_ERROR_INVALID_PARAMETER;
        }
        m_callback = callback;
        m_userData = userData;
        return BT_ERROR_NONE;
    }

    int Unset()
    {
        const bool was = IsSet();
        m_callback = nullptr;
        m_userData = nullptr;
        return was ? BT_ERROR_NONE : BT_ERROR_NOT_INITIALIZED;
    }

    [[nodiscard]] bool IsSet() const
    {
        return m_callback != nullptr;
    }

    /// Calls what is in the slot now, on the main loop only. The callback may take itself out.
    template <typename... Arguments>
    void Tell(Arguments... arguments) const
    {
        if (IsSet()) {
            m_callback(arguments..., m_userData);
        }
    }

private:
    Callback m_callback = nullptr;
    void* m_userData = nullptr;
};

} // namespace box
