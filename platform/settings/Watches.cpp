#include "Watches.h"

#include <glib-unix.h>

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace settings {
namespace {

// Notices told in one turn of the loop: other sources are served in between when a flood comes.
constexpr int kNoticesPerTurn = 256;

// Turns of listening and reading before what was read is told, however fast others write.
constexpr int kRoundsPerTurn = 8;

constexpr int kAttempts = 10;
constexpr std::int64_t kRetryMicroseconds = 100'000;

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
    std::int64_t newest = 0;
    if (!StartSource() || !StartReading(side) || m_sides[side].database.NewestChange(newest) != kOk) {
        return kFailed;
    }
    auto& registrations = m_registrations[std::string(key)];
    const auto known = std::find_if(registrations.begin(), registrations.end(),
                                    [function](const Registration& other) { return other.function == function; });
    if (known != registrations.end()) {
        // What was written since the first registration is still owed.
        known->userData = userData;
        return kOk;
    }
    registrations.push_back({++m_lastNumber, newest, function, userData});
    return kOk;
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
    m_owner = getpid();
    m_source = g_unix_fd_source_new(m_inotify.Get(), G_IO_IN);
    g_source_set_callback(m_source, G_SOURCE_FUNC(&Watches::OnBell), this, nullptr);
    g_source_set_static_name(m_source, "settings");
    g_source_attach(m_source, nullptr);
    return true;
}

bool Watches::StartReading(std::size_t side)
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
    const int watch = inotify_add_watch(m_inotify.Get(), source.bell.Path().c_str(), IN_ATTRIB);
    if (watch < 0) {
        Report(source.bell.Path(), errno);
        return false;
    }
    if (source.database.NewestChange(reader.read) != kOk) {
        inotify_rm_watch(m_inotify.Get(), watch);
        return false;
    }
    reader.inotifyWatch = watch;
    source.position.MoveTo(reader.read);
    return true;
}

bool Watches::HearBells()
{
    alignas(inotify_event) char buffer[4096];
    ssize_t size = 0;
    while ((size = read(m_inotify.Get(), buffer, sizeof buffer)) > 0) {
        for (const char* next = buffer; next < buffer + size;) {
            const auto* event = reinterpret_cast<const inotify_event*>(next);
            for (Reader& reader : m_readers) {
                const bool overflow = (event->mask & IN_Q_OVERFLOW) != 0 && reader.inotifyWatch >= 0;
                reader.rung = reader.rung || overflow || event->wd == reader.inotifyWatch;
            }
            next += sizeof(inotify_event) + event->len;
        }
    }
    return IsRung();
}

bool Watches::IsRung() const
{
    return std::any_of(m_readers.begin(), m_readers.end(), [](const Reader& reader) { return reader.rung; });
}

void Watches::Collect()
{
    // Listening again after reading: whoever wrote to one file, and then the row of the other file that was just read,
    // has rung in between, and the two are told in their order.
    for (int round = 0; HearBells() && round < kRoundsPerTurn; ++round) {
        for (std::size_t side = 0; side < kSides; ++side) {
            if (m_readers[side].rung) {
                Read(side);
            }
        }
        if (IsRung()) {
            ++m_failures;
            return;
        }
        m_failures = 0;
    }
}

void Watches::Read(std::size_t side)
{
    Reader& reader = m_readers[side];
    reader.readAt = Moment();
    const int result = m_sides[side].database.ChangesAfter(reader.read, reader.collected);
    reader.read = reader.collected.empty() ? reader.read : reader.collected.back().id;
    m_sides[side].position.MoveTo(reader.read);
    reader.rung = result != kOk;
}

void Watches::Queue()
{
    std::array<std::size_t, kSides> next = {0, 0};
    const auto head = [this, &next](std::size_t side) {
        auto& collected = m_readers[side].collected;
        return next[side] < collected.size() ? &collected[next[side]] : nullptr;
    };
    // The order within a file is that of the commits and is kept as it is; the moments only interleave the two files.
    for (;;) {
        const Change* persistent = head(0);
        const Change* memory = head(1);
        const bool first = memory == nullptr || (persistent != nullptr && persistent->moment <= memory->moment);
        const std::size_t side = first ? 0 : 1;
        Change* change = head(side);
        if (change == nullptr || MayFollowUnread(side, *change)) {
            break;
        }
        if (m_registrations.contains(change->key)) {
            m_queue.push_back(std::move(*change));
        }
        ++next[side];
    }
    for (std::size_t side = 0; side < kSides; ++side) {
        auto& collected = m_readers[side].collected;
        collected.erase(collected.begin(), collected.begin() + static_cast<std::ptrdiff_t>(next[side]));
    }
}

bool Watches::MayFollowUnread(std::size_t side, const Change& change) const
{
    // The other file was written to since it was read, perhaps before this change. When it cannot be read at all, its
    // notices do not hold up the others.
    const Reader& other = m_readers[kSides - 1 - side];
    return other.rung && m_failures == 0 && change.moment > other.readAt;
}

void Watches::Deliver(Change& change)
{
    const auto registrations = m_registrations.find(change.key);
    if (registrations == m_registrations.end()) {
        return;
    }
    std::vector<std::uint64_t> numbers;
    for (const Registration& registration : registrations->second) {
        if (registration.after < change.id) {
            numbers.push_back(registration.number);
        }
    }
    keynode node{std::move(change.key), std::move(change.value)};
    const std::string key = node.key;
    for (const std::uint64_t number : numbers) {
        // Looked up anew: the callback before may have removed this one.
        if (const Registration* registration = Find(key, number); registration != nullptr) {
            registration->function(&node, registration->userData);
        }
    }
}

const Watches::Registration* Watches::Find(std::string_view key, std::uint64_t number) const
{
    const auto registrations = m_registrations.find(key);
    if (registrations == m_registrations.end()) {
        return nullptr;
    }
    const auto found = std::find_if(registrations->second.begin(), registrations->second.end(),
                                    [number](const Registration& known) { return known.number == number; });
    return found != registrations->second.end() ? &*found : nullptr;
}

void Watches::Dispatch()
{
    g_source_set_ready_time(m_source, -1);
    Collect();
    Queue();
    for (int told = 0; told < kNoticesPerTurn && !m_queue.empty(); ++told) {
        Change change = std::move(m_queue.front());
        m_queue.pop_front();
        Deliver(change);
    }
    if (!m_queue.empty() || (IsRung() && m_failures == 0)) {
        g_source_set_ready_time(m_source, 0);
    } else if (m_failures > 0 && m_failures < kAttempts) {
        g_source_set_ready_time(m_source, g_get_monotonic_time() + kRetryMicroseconds);
    }
}

gboolean Watches::OnBell(gint /*descriptor*/, GIOCondition /*condition*/, gpointer self)
{
    auto* watches = static_cast<Watches*>(self);
    // A forked child that ran the loop would take the parent's bells off the shared descriptor.
    if (watches->m_owner != getpid()) {
        return G_SOURCE_REMOVE;
    }
    watches->Dispatch();
    return G_SOURCE_CONTINUE;
}

} // namespace settings
