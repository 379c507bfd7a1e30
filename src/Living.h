#pragma once

/// Says of an object whether it still lives, for callbacks that may come when it is gone: the platform and the bus keep
/// a bare pointer, some of them for good, and bring it back with the answer or the event.
///
/// An object that such pointers are given for has one as its member, made with `this`. On the main loop's thread only.
/// One gap is left: an object that was made at the place of another is found by what was meant for that one.
template <typename Object>
class Living
{
public:
    explicit Living(Object* object) : m_object(object), m_next(s_first)
    {
        s_first = this;
    }

    ~Living()
    {
        Living** link = &s_first;
        while (*link != this) {
            link = &(*link)->m_next;
        }
        *link = m_next;
    }

    Living(const Living&) = delete;
    Living& operator=(const Living&) = delete;

    /// \param userData what the callback brought, may be null
    /// \return null when no such object lives
    static Object* Find(const void* userData)
    {
        const Living* living = s_first;
        while (living != nullptr && living->m_object != userData) {
            living = living->m_next;
        }
        return living != nullptr ? living->m_object : nullptr;
    }

private:
    static inline Living* s_first = nullptr;

    Object* m_object;
    Living* m_next;
};
