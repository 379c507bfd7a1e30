// Who in this process wants to know of which key, and the source on the main loop that tells them.
//
// The way of a notice: a writer commits its row and touches the file's bell. That makes this process's inotify
// descriptor readable, so the main loop dispatches the source. It takes the bells off the descriptor (HearBells), reads
// the new rows of the files whose bells rang (ReadRung), takes the row whose turn it is (TakeNext of NoticeOrder.h) and
// calls the first function registered for its key (TellOne). A row that lies beside the bell and is the next one is
// told before the others are read, which is left to the turn after.
//
// One call is made a turn, because it may wait for a sibling that hangs, for seconds. The turn after it makes none:
// all that became ready on the loop meanwhile (a stop signal, a change of power, a message) is served before the next
// call, wherever it stands in the loop's list. A key with two watchers needs two such turns for each write.
#pragma once

#include "Bell.h"
#include "Database.h"
#include "KeyNode.h"
#include "NoticeOrder.h"
#include "ReadPosition.h"
#include "settings/FileDescriptor.h"

#include <glib.h>

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace settings {

// What there is of the keys of one kind, persistent or not.
struct Side
{
    Side(std::string folder, std::string_view file, Durability durability, const std::string& noticeFolder,
         const std::string& name)
        : database(std::move(folder), file, durability),
          bell(noticeFolder + "/" + name + ".bell"),
          position(noticeFolder, name)
    {}

    Database database;
    Bell bell;
    ReadPosition position;
};

class Watches
{
public:
    // The sides outlive this object.
    explicit Watches(std::array<Side, kSides>& sides) : m_sides(sides) {}
    ~Watches();
    Watches(const Watches&) = delete;
    Watches& operator=(const Watches&) = delete;

    // kOk; kFailed where writes cannot be heard of, and also where the file cannot be used now: then the watch stands,
    // and its writes are told once the file can be read.
    int Add(std::size_t side, std::string_view key, ChangeFunction function, void* userData);
    int Remove(std::string_view key, ChangeFunction function);

private:
    // How far the log of a side is read, and whether it has to be read on.
    struct Reader
    {
        int inotifyWatch = -1;
        bool isPlaced = false;   // `read` is known
        std::int64_t read = 0;   // the id of the last row read
        std::int64_t readAt = 0; // the moment of the last look into the log, see Moment()
        bool rung = false;       // there may be rows after `read`
        bool isAhead = false;    // the last row read was taken from beside the bell
        int failures = 0;        // reads in vain, one after the other
        gint64 retryAt = 0;      // not to be read before; g_get_monotonic_time

        // When the first watch was begun that the file could not be read for, see Moment().
        std::optional<std::int64_t> missedSince;
    };

    struct Registration
    {
        std::uint64_t number; // rises with each registration of the process
        std::int64_t after;   // writes up to here came before the registration
        std::int64_t since;   // and those that began by this moment, where the log could not be read then; otherwise 0
        ChangeFunction function;
        void* userData;
    };

    // A write that is being told, one registration after the other.
    struct Notice
    {
        std::int64_t id;
        std::int64_t moment; // at which the write began
        keynode node;
        std::uint64_t told = 0; // the number of the last registration told
    };

    // In the order of their numbers.
    using Registrations = std::map<std::string, std::vector<Registration>, std::less<>>;

    bool StartSource();
    bool Listen(std::size_t side);
    bool FindStart(std::size_t side, std::int64_t now);
    void HearBells();
    void ReadRung();
    bool TakeLastWrite(std::size_t side);
    bool Read(std::size_t side);
    bool TellOne();
    bool NextNotice();
    const Registration* NextOwed(const Notice& notice) const;
    void Schedule();
    void Dispatch();

    static gboolean OnBell(gint descriptor, GIOCondition condition, gpointer self);

    std::array<Side, kSides>& m_sides;
    std::array<Reader, kSides> m_readers;
    std::array<Backlog, kSides> m_backlogs;
    std::optional<Notice> m_notice;
    bool m_othersTurn = false; // the last turn told, this one is for all others on the loop
    Registrations m_registrations;
    std::uint64_t m_lastNumber = 0;
    FileDescriptor m_inotify;
    GSource* m_source = nullptr;
    unsigned m_forks = 0; // what Forks() said as the source was made
};

} // namespace settings
