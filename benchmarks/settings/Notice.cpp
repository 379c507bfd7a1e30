#include "Measurement.h"
#include "settings/FileDescriptor.h"
#include "settings/KeyNode.h"
#include "settings/Locations.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "support/Child.h"
#include "support/TempDir.h"

#include <glib-unix.h>
#include <glib.h>
#include <sqlite3.h>

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace bench {
namespace {

constexpr int kNoticesPerRound = 200;
constexpr std::int64_t kRestNanoseconds = 100'000;
constexpr const char* kKey = "memory/volt/firstscreen_state";

void Require(bool condition, const char* what)
{
    if (!condition) {
        throw std::runtime_error(what);
    }
}

// The watching process: tells the moment of every callback through a pipe.
class Watcher
{
public:
    Watcher(const settings::Folders& folders, int datagrams, int moments) : m_store(folders), m_moments(moments)
    {
        Require(m_store.Watch(kKey, &Watcher::OnNotice, this) == settings::kOk, "the watch failed");
        g_unix_fd_add(datagrams, G_IO_IN, &Watcher::OnDatagram, this);
        Tell();
    }

    [[noreturn]] void Run()
    {
        for (;;) {
            g_main_context_iteration(nullptr, TRUE);
        }
    }

private:
    void Tell()
    {
        const std::int64_t moment = Now();
        if (write(m_moments, &moment, sizeof moment) != sizeof moment) {
            _exit(1);
        }
    }

    static void OnNotice(keynode* node, void* self)
    {
        if (settings::KeyNodeInt(node) > 0) {
            static_cast<Watcher*>(self)->Tell();
        }
    }

    static gboolean OnDatagram(gint descriptor, GIOCondition /*condition*/, gpointer self)
    {
        char message[256];
        const ssize_t size = recv(descriptor, message, sizeof message, 0);
        if (size <= 0) {
            _exit(0);
        }
        // What the store's notice carries: key, type and value, in a record of their own.
        int value = 0;
        std::memcpy(&value, message, sizeof value);
        keynode node{std::string(message + sizeof value, static_cast<std::size_t>(size) - sizeof value), value};
        OnNotice(&node, self);
        return G_SOURCE_CONTINUE;
    }

    settings::Store m_store;
    int m_moments;
};

// The same write without any notice.
class BareDatabase
{
public:
    explicit BareDatabase(const std::string& path)
    {
        Require(sqlite3_open(path.c_str(), &m_connection) == SQLITE_OK, "the bare database cannot be opened");
        Require(sqlite3_exec(m_connection,
                             "PRAGMA page_size = 1024; PRAGMA journal_mode = WAL; PRAGMA synchronous = OFF;"
                             "CREATE TABLE setting(key TEXT PRIMARY KEY, type INTEGER NOT NULL, value NOT NULL)"
                             " WITHOUT ROWID",
                             nullptr, nullptr, nullptr) == SQLITE_OK,
                "the bare database cannot be made");
        Require(sqlite3_prepare_v2(m_connection,
                                   "INSERT INTO setting VALUES (?1, 1, ?2) ON CONFLICT(key) DO UPDATE SET"
                                   " type = excluded.type, value = excluded.value",
                                   -1, &m_statement, nullptr) == SQLITE_OK,
                "the bare write cannot be prepared");
    }
    ~BareDatabase()
    {
        sqlite3_finalize(m_statement);
        sqlite3_close(m_connection);
    }
    BareDatabase(const BareDatabase&) = delete;
    BareDatabase& operator=(const BareDatabase&) = delete;

    void Set(int value)
    {
        sqlite3_bind_text(m_statement, 1, kKey, -1, SQLITE_STATIC);
        sqlite3_bind_int(m_statement, 2, value);
        Require(sqlite3_step(m_statement) == SQLITE_DONE, "the bare write failed");
        sqlite3_reset(m_statement);
    }

private:
    sqlite3* m_connection = nullptr;
    sqlite3_stmt* m_statement = nullptr;
};

void SendDatagram(int descriptor, int value)
{
    char message[256];
    const std::size_t length = std::strlen(kKey);
    std::memcpy(message, &value, sizeof value);
    std::memcpy(message + sizeof value, kKey, length);
    Require(send(descriptor, message, sizeof value + length, 0) > 0, "the datagram was not sent");
}

// Until the watcher sleeps again. Whatever it still does after a callback would else be waited for by the next notice,
// or spare that one the waking up, which is of the other kind.
void Rest()
{
    for (const std::int64_t end = Now() + kRestNanoseconds; Now() < end;) {
    }
}

std::int64_t ReadMoment(int descriptor)
{
    std::int64_t moment = 0;
    Require(read(descriptor, &moment, sizeof moment) == sizeof moment, "the watcher ended");
    return moment;
}

} // namespace

std::vector<double> CompareNotice(const Places& places, int rounds)
{
    const support::TempDir memory(kFolderName, places.memory);
    const settings::Folders folders{memory.Path() / "db", memory.Path()};
    int sockets[2];
    int moments[2];
    Require(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, sockets) == 0 && pipe(moments) == 0,
            "the sockets cannot be made");
    const settings::FileDescriptor ends[] = {settings::FileDescriptor(sockets[0]), settings::FileDescriptor(sockets[1]),
                                             settings::FileDescriptor(moments[0]),
                                             settings::FileDescriptor(moments[1])};
    const support::Child watcher =
        support::Child::Fork([&]() -> int { Watcher(folders, ends[1].Get(), ends[3].Get()).Run(); });
    ReadMoment(ends[2].Get());

    settings::Store store(folders);
    BareDatabase bare(memory.Path() / "bare.db");
    int value = 0;
    const auto measure = [&](const std::function<void(int)>& notify) {
        GoOnUnlessStopped();
        Rest();
        const std::int64_t start = Now();
        notify(++value);
        return ReadMoment(ends[2].Get()) - start;
    };
    const auto byDatagram = [&](int number) {
        bare.Set(number);
        SendDatagram(ends[0].Get(), number);
    };
    const auto byStore = [&](int number) { Require(store.Set(kKey, number) == settings::kOk, "the set failed"); };
    for (int warmUp = 0; warmUp < 1000; ++warmUp) {
        measure(byDatagram);
        measure(byStore);
    }
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        std::vector<std::int64_t> datagrams;
        std::vector<std::int64_t> notices;
        for (int notice = 0; notice < kNoticesPerRound; ++notice) {
            datagrams.push_back(measure(byDatagram));
            notices.push_back(measure(byStore));
        }
        ratios.push_back(static_cast<double>(Median(notices)) / static_cast<double>(Median(datagrams)));
    }
    return ratios;
}

} // namespace bench
