#pragma once

#include "hid/Protocol.h"
#include "loop/Timer.h"

#include <glib.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace hid {

/// What is on its way to one remote, in order and one at a time: the next goes out when the remote has acknowledged the
/// one before. What it misses, because it still sleeps or its link is not quite up again, is sent anew, with the same
/// sequence number, by which the remote knows it. A remote that acknowledges nothing gets the rest without waiting.
class Outbox
{
public:
    static constexpr std::size_t kMost = 32; ///< reports
    static constexpr guint kAckMs = 500;
    static constexpr int kMostTries = 3;       ///< without an answer
    static constexpr guint kAgainMs = 200;     ///< after "busy", or when the kernel did not take it
    static constexpr int kMostAgain = 25;      ///< of these
    static constexpr guint kAbsenceMs = 10000; ///< a remote that does not come back by then has lost them

    /// \param remote its address, for the log
    /// \param write hands one report to the kernel; false with errno
    Outbox(std::string remote, std::function<bool(ByteSpan)> write);

    /// Takes all of \p reports, or none when they would be too many. The first may go out at once.
    bool Post(std::vector<Bytes> reports);
    /// Whether a part of a unique id is still on its way.
    [[nodiscard]] bool HasDuid() const;
    [[nodiscard]] bool IsEmpty() const
    {
        return m_items.empty();
    }

    /// The remote is there; it may be another life of it.
    void Opened();
    [[nodiscard]] bool IsOpen() const
    {
        return m_isOpen;
    }
    /// It is not. What it has not acknowledged waits for it.
    void Closed();

    /// \param acknowledgement payload of the report: id, sequence number, result
    void OnAck(ByteSpan acknowledgement);

private:
    struct Item
    {
        Bytes report;
        bool isWritten = false;
        int tries = 0;
        int again = 0;
    };

    void Pump();
    bool WriteFront();
    void OnSilence();
    void TryAgain(const char* why);
    void Drop(const char* why);

    const std::string m_remote;
    const std::function<bool(ByteSpan)> m_write;
    std::deque<Item> m_items;
    std::uint8_t m_sequence;
    bool m_isOpen = false;
    bool m_acknowledges = true;
    loop::Timer m_timer;
    loop::Timer m_absence;
};

} // namespace hid
