#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace journal {

/// One field of a journal entry: a name of capitals, digits and underscores that begins with a capital, and any bytes.
struct Field
{
    std::string_view name;
    std::string_view value;
};

/// The socket of the system journal, in its own datagram form, so that an entry keeps its fields and a text its lines.
///
/// A journal that is restarted is found again by the next entry. One that has stopped reading costs the process
/// kPatienceMs once: from then on entries are dropped at once and counted, until it reads again and is told how many
/// were lost.
class Journal
{
public:
    static constexpr std::size_t kMostFields = 32;
    static constexpr int kPatienceMs = 100;

    enum class Outcome
    {
        Taken,
        Lost,  ///< there is a journal, but it does not read
        Absent ///< there is none
    };

    static Journal& OfProcess();

    Journal() = default;
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    /// Allocates nothing, unless the entry is too long for a datagram.
    /// \param fields at most kMostFields; what comes after them is left out
    Outcome Send(std::span<const Field> fields);

private:
    Outcome SendOnce(std::span<const Field> fields);
    Outcome Deliver(const msghdr& message, const sockaddr_un& address);
    void TellLoss();

    int m_socket = -1;
    bool m_isStuck = false;
    std::uint64_t m_lost = 0;
};

} // namespace journal
