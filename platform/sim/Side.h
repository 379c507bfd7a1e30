#pragma once

namespace sim {

/// Whose code runs on a thread: the service's, or that of the television around it. For who looks at what the service
/// asks for without a call that the tape sees, such as memory. Threads begin as the television's.
enum class Side
{
    Television,
    Service
};

/// While it lives, the thread's code is this side's; the one before comes after it, also where an exception leaves.
class Runs
{
public:
    explicit Runs(Side side) noexcept : m_before(s_now)
    {
        s_now = side;
    }
    ~Runs()
    {
        s_now = m_before;
    }
    Runs(const Runs&) = delete;
    Runs& operator=(const Runs&) = delete;

    static Side Now() noexcept
    {
        return s_now;
    }

private:
    static inline constinit thread_local Side s_now = Side::Television;
    Side m_before;
};

} // namespace sim
