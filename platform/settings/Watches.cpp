#include "Watches.h"

#include "Forks.h"
#include "settings/Bell.h"
#include "settings/Change.h"
#include "settings/Database.h"
#include "settings/KeyNode.h"
#include "settings/LastWrite.h"
#include "settings/Moment.h"
#include "settings/NoticeOrder.h"
#include "settings/ReadPosition.h"
#include "settings/Value.h"

#include <glib-unix.h>

#include <sys/inotify.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <deque>
#include <system_error>
#include <variant>

namespace settings {
namespace {

// A log that cannot be read is tried this often, then with the next bell.
constexpr int kAttempts = 10;
constexpr gint64 kRetryMicroseconds = 100'000;

void Report(const std::string& subject, int error)
{
    std::fprintf(stderr, "settings: cannot watch %s: %s\n", subject.c_str(),
                 std::generic_category().message(error).c_str());
}

} // namespace

Watches::~Watches()
{
    if (m_source != nullptr) {
        g_source_destroy(m_source);
        g_source_unref(m_source);
    }
}

int Watches::Add(std::size_t side, std::string_view key, ChangeFunction function, void* userData)
{
    if (!StartSource() || !Listen(side)) {
        return kFailed;
    }
    const std::int64_t now = Moment();
    std::int64_t newest = 0;
    const bool isRead = FindStart(side, now) && m_sides[side].database.NewestChange(newest) == kOk;
    const int result = isRead ? kOk : kFailed;
    auto& registrations = m_registrations[std::string(key)];
    const auto known = std::find_if(registrations.begin(), registrations.end(),
                                    [function](const Registration& other) { return other.function == function; });
    if (known != registrations.end()) {
        // What was written since the first registration is still owed.
        known->userData = userData;
        return result;
    }
    registrations.push_back({++m_lastNumber, newest, isRead ? 0 : now, function, userData});
    return result;
}

int Watches::Remove(std::string_view key, ChangeFunction function)
{
    const auto registrations = m_registrations.find(key);
    if (registrations == m_registrations.end()) {
        return kFailed;
    }
    const auto matches = [function](const Registration& known) { return known.function == function; };
    const bool removed = std::erase_if(registrations->second, matches) > 0;
    if (registrations->second.empty()) {
        m_registrations.erase(registrations);
    }
    return removed ? kOk : kFailed;
}

bool Watches::StartSource()
{
    if (m_source != nullptr) {
        return true;
    }
    m_inotify = FileDescriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!m_inotify.IsOpen()) {
        Report("settings", errno);
        return false;
    }
    m_forks = Forks();
    m_source = g_unix_fd_source_new(m_inotify.Get(), G_IO_IN);
    g_source_set_callback(m_source, G_SOURCE_FUNC(&Watches::OnBell), this, nullptr);
    g_source_set_static_name(m_source, "settings");
    g_source_attach(m_source, nullptr);
    return true;
}

// Has this process hear of writes from now on, also while the file itself cannot be used.
bool Watches::Listen(std::size_t side)
{
    Side& source = m_sides[side];
    Reader& reader = m_readers[side];
    if (reader.inotifyWatch >= 0) {
        return true;
    }
    if (!source.bell.Open()) {
        return false;
    }
    if (!source.position.Announce()) {
        Report(source.database.Path(), errno);
        return false;
    }
    // The bell is listened to before the end of the log is looked up: a write in between rings.
    reader.inotifyWatch = inotify_add_watch(m_inotify.Get(), source.bell.Path().c_str(), IN_ATTRIB);
    if (reader.inotifyWatch < 0) {
        Report(source.bell.Path(), errno);
        return false;
    }
    source.bell.OpenToRead();
    return true;
}

// Looks up from where on the log is read. A file that cannot be used now is tried again when its bell rings, and its
// log is read from the writes on that began after this first attempt.
bool Watches::FindStart(std::size_t side, std::int64_t now)
{
    Database& database = m_sides[side].database;
    Reader& reader = m_readers[side];
    if (reader.isPlaced) {
        return true;
    }
    const int result = reader.missedSince ? database.NewestChangeBefore(*reader.missedSince, reader.read)
                                          : database.NewestChange(reader.read);
    if (result != kOk) {
        reader.missedSince = reader.missedSince.value_or(now);
        return false;
    }
    reader.isPlaced = true;
    return true;
}

// One read takes each bell that rang: equal events in a row are kept as one, so that those of two bells take turns,
// also in a queue that is longer than the buffer or full. What is left of such a queue wakes the loop again.
void Watches::HearBells()
{
    alignas(inotify_event) char buffer[4096];
    const ssize_t size = read(m_inotify.Get(), buffer, sizeof buffer);
    std::string_view events(buffer, size > 0 ? static_cast<std::size_t>(size) : 0);
    while (!events.empty()) {
        const auto* event = reinterpret_cast<const inotify_event*>(events.data());
        for (Reader& reader : m_readers) {
            if (event->wd == reader.inotifyWatch) {
                reader.rung = true;
                reader.retryAt = 0;
            }
        }
        events.remove_prefix(sizeof(inotify_event) + event->len);
    }
}

void Watches::ReadRung()
{
    HearBells();
    bool hasRead = false;
    for (std::size_t side = 0; side < kSides; ++side) {
        Reader& reader = m_readers[side];
        if (!reader.rung || g_get_monotonic_time() < reader.retryAt) {
            continue;
        }
        hasRead = true;
        if (TakeLastWrite(side)) {
            continue;
        }
        reader.rung = !Read(side);
        reader.failures = reader.rung ? reader.failures + 1 : 0;
        reader.retryAt = reader.rung ? g_get_monotonic_time() + kRetryMicroseconds : 0;
    }
    // Whoever wrote to one file, and then a row of the other file that was just read, has rung in between: that row
    // waits until the first file is read.
    if (hasRead) {
        HearBells();
    }
    for (std::size_t side = 0; side < kSides; ++side) {
        const Reader& reader = m_readers[side];
        // A file that cannot be read does not hold up the notices of the other.
        const bool isAwaited = reader.rung && reader.failures == 0;
        m_backlogs[side].unreadSince = isAwaited ? std::optional(reader.readAt) : std::nullopt;
    }
}

// Takes the row that comes next without a look into the log, where it lies beside the bell and somebody is to be told
// of it. The log is still to be read then, and `readAt` is when that was done last.
bool Watches::TakeLastWrite(std::size_t side)
{
    Reader& reader = m_readers[side];
    // Not twice in a row: the notices of the other file would wait as long as somebody writes.
    if (!reader.isPlaced || reader.isAhead || reader.failures > 0) {
        return false;
    }
    LastWriteBuffer buffer;
    std::optional<Change> next = m_sides[side].database.ChangeAfter(reader.read, m_sides[side].bell.LastWrite(buffer));
    if (!next || !m_registrations.contains(next->key)) {
        return false;
    }
    reader.read = next->id;
    reader.isAhead = true;
    m_backlogs[side].untold.push_back(std::move(*next));
    return true;
}

bool Watches::Read(std::size_t side)
{
    Reader& reader = m_readers[side];
    reader.isAhead = false;
    reader.readAt = Moment();
    if (!FindStart(side, reader.readAt)) {
        return false;
    }
    std::vector<Change> rows;
    const int result = m_sides[side].database.ChangesAfter(reader.read, rows);
    reader.read = rows.empty() ? reader.read : rows.back().id;
    m_sides[side].position.MoveTo(m_sides[side].database.IdInFile(reader.read));
    for (Change& row : rows) {
        if (m_registrations.contains(row.key)) {
            m_backlogs[side].untold.push_back(std::move(row));
        }
    }
    return result == kOk;
}

bool Watches::TellOne()
{
    while (m_notice || NextNotice()) {
        if (const Registration* registration = NextOwed(*m_notice); registration != nullptr) {
            m_notice->told = registration->number;
            registration->function(&m_notice->node, registration->userData);
            if (NextOwed(*m_notice) == nullptr) {
                m_notice.reset();
            }
            return true;
        }
        m_notice.reset();
    }
    return false;
}

bool Watches::NextNotice()
{
    std::optional<Change> change = TakeNext(m_backlogs);
    if (change) {
        m_notice = Notice{change->id, change->moment, {std::move(change->key), std::move(change->value)}};
    }
    return change.has_value();
}

// Looked up anew for each call: the one before may have begun and ended watches. One begun meanwhile is not owed the
// notice, because the write came before it.
const Watches::Registration* Watches::NextOwed(const Notice& notice) const
{
    const auto registrations = m_registrations.find(notice.node.key);
    if (registrations == m_registrations.end()) {
        return nullptr;
    }
    const auto owed = std::find_if(registrations->second.begin(), registrations->second.end(),
                                   [&notice](const Registration& registration) {
                                       return registration.number > notice.told && registration.after < notice.id &&
                                              registration.since < notice.moment;
                                   });
    return owed != registrations->second.end() ? &*owed : nullptr;
}

void Watches::Dispatch()
{
    ReadRung();
    m_othersTurn = !m_othersTurn && TellOne();
    Schedule();
}

void Watches::Schedule()
{
    gint64 next = -1;
    const auto dueAt = [&next](gint64 moment) { next = next < 0 ? moment : std::min(next, moment); };
    if (m_othersTurn || m_notice) {
        dueAt(0);
    }
    for (std::size_t side = 0; side < kSides; ++side) {
        const Reader& reader = m_readers[side];
        if (!m_backlogs[side].untold.empty()) {
            dueAt(0);
        }
        if (reader.rung && reader.failures < kAttempts) {
            dueAt(reader.retryAt);
        }
    }
    g_source_set_ready_time(m_source, next);
}

gboolean Watches::OnBell(gint /*descriptor*/, GIOCondition /*condition*/, gpointer self)
{
    auto* watches = static_cast<Watches*>(self);
    // A forked child that ran the loop would take the parent's bells off the shared descriptor.
    if (watches->m_forks != Forks()) {
        return G_SOURCE_REMOVE;
    }
    watches->Dispatch();
    return G_SOURCE_CONTINUE;
}

} // namespace settings
