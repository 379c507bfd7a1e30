// Who in this process wants to know of which key, and the source on the main loop that tells them.
#pragma once

#include "Bell.h"
#include "Database.h"
#include "KeyNode.h"
#include "ReadPosition.h"

#include <glib.h>

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
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
    static constexpr std::size_t kSides = 2;

    // The sides outlive this object.
    explicit Watches(std::array<Side, kSides>& sides) : m_sides(sides) {}
    ~Watches();
    Watches(const Watches&) = delete;
    Watches& operator=(const Watches&) = delete;

    // kOk or kFailed.
    int Add(std::size_t side, std::string_view key, ChangeFunction function, void* userData);
    int Remove(std::string_view key, ChangeFunction function);

private:
    // How far the log of a side is read, and who is to be told to read on.
    struct Reader
    {
        int inotifyWatch = -1;
        std::int64_t read = 0;
        std::int64_t readAt = 0; // the moment of the last look
        bool rung = false;
        std::vector<Change> collected; // read, and not yet put in order with the other side's
    };

    struct Registration
    {
        std::uint64_t number;
        std::int64_t after; // writes up to here came before the registration
        ChangeFunction function;
        void* userData;
    };

    using Registrations = std::map<std::string, std::vector<Registration>, std::less<>>;

    bool StartSource();
    bool StartReading(std::size_t side);
    bool HearBells();
    void Collect();
    void Read(std::size_t side);
    void Queue();
    bool MayFollowUnread(std::size_t side, const Change& change) const;
    bool IsRung() const;
    void Deliver(Change& change);
    const Registration* Find(std::string_view key, std::uint64_t number) const;
    void Dispatch();

    static gboolean OnBell(gint descriptor, GIOCondition condition, gpointer self);

    std::array<Side, kSides>& m_sides;
    std::array<Reader, kSides> m_readers;
    Registrations m_registrations;
    std::uint64_t m_lastNumber = 0;
    std::deque<Change> m_queue;
    FileDescriptor m_inotify;
    GSource* m_source = nullptr;
    int m_failures = 0;
    pid_t m_owner = 0;
};

} // namespace settings
