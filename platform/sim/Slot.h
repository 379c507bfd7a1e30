#pragma once

#include "sim/Handles.h"
#include "sim/Records.h"
#include "sim/Tape.h"
#include "sim/Text.h"

#include <bt_error.h>

#include <string>
#include <utility>
#include <vector>

namespace sim {

/// A place for one callback of the service. Whoever tells something asks the slot when it is time to tell, so what was
/// on its way when the callback was taken out is dropped.
class SlotBase
{
public:
    /// \param name of the kind of callback, as the tape calls it; lives as long as the program
    explicit SlotBase(const char* name) : m_name(name)
    {
        All().push_back(this);
    }
    virtual ~SlotBase()
    {
        std::erase(All(), this);
    }
    SlotBase(const SlotBase&) = delete;
    SlotBase& operator=(const SlotBase&) = delete;

    virtual void Clear() = 0;
    [[nodiscard]] virtual bool IsSet() const = 0;
    /// From now on the callback gets a null user_data.
    virtual void LosesUserData() = 0;

    static std::vector<SlotBase*>& All()
    {
        static std::vector<SlotBase*> slots;
        return slots;
    }

protected:
    /// Writes on the tape that the callback is called; it is the cause of what happens until the scope ends.
    [[nodiscard]] Tape::Scope Begins(std::vector<std::string> arguments) const;

private:
    const char* m_name;
};

template <typename Callback>
class Slot : public SlotBase
{
public:
    using SlotBase::SlotBase;

    void Set(Callback callback, void* userData)
    {
        m_callback = callback;
        m_userData = userData;
    }

    int Unset()
    {
        const bool was = IsSet();
        Clear();
        return was ? BT_ERROR_NONE : BT_ERROR_NOT_INITIALIZED;
    }

    /// Takes the callback out only if it is this one.
    int UnsetIf(Callback callback)
    {
        if (!IsSet() || callback != m_callback) {
            return -1;
        }
        Clear();
        return 0;
    }

    void Clear() override
    {
        m_callback = nullptr;
        m_userData = nullptr;
    }

    void LosesUserData() override
    {
        m_userData = nullptr;
    }

    [[nodiscard]] bool IsSet() const override
    {
        return m_callback != nullptr;
    }

    template <typename... Arguments>
    void Tell(Arguments... arguments) const
    {
        if (IsSet()) {
            const Tape::Scope handles = Begins({ToText(arguments)...});
            const Handles holdsLoop;
            m_callback(arguments..., m_userData);
        }
    }

private:
    Callback m_callback = nullptr;
    void* m_userData = nullptr;
};

} // namespace sim
