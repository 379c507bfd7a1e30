#include "Database.h"

#include "FileDescriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <system_error>

namespace settings {
namespace {

constexpr std::int64_t kVersion = 1;

// Small pages: a write touches three of them, and every byte of them is summed, copied and made durable.
constexpr const char* kPrepareFile = "PRAGMA page_size = 1024; PRAGMA journal_mode = WAL;";

constexpr const char* kCreateTables =
    "BEGIN IMMEDIATE;"
    "CREATE TABLE IF NOT EXISTS setting(key TEXT PRIMARY KEY, type INTEGER NOT NULL, value NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS change(id INTEGER PRIMARY KEY, moment INTEGER NOT NULL, key TEXT NOT NULL,"
    "                                  type INTEGER NOT NULL, value NOT NULL);"
    "CREATE TRIGGER IF NOT EXISTS apply AFTER INSERT ON change BEGIN"
    " INSERT INTO setting(key, type, value) VALUES (new.key, new.type, new.value)"
    " ON CONFLICT(key) DO UPDATE SET type = excluded.type, value = excluded.value;"
    " END;"
    "PRAGMA user_version = 1;"
    "COMMIT;";

// How long an operation waits for another process that writes, in all; the platform's functions promise about 1 s.
constexpr std::int64_t kPatienceMicroseconds = 900'000;
constexpr std::int64_t kImpatienceMicroseconds = 10'000;
constexpr std::int64_t kLongestWaitMicroseconds = 5'000;

// Sleeps without usleep or nanosleep, which programs with a clock of their own replace.
void Wait(std::int64_t microseconds)
{
    const timespec duration{0, static_cast<long>(microseconds * 1000)};
    ppoll(nullptr, 0, &duration, nullptr);
}

// The process that has settings open, and how many files. A fork inherits SQLite's idea of the locks that it holds, but
// not the locks.
std::atomic<pid_t> user{0};
std::atomic<int> openFiles{0};

bool OpenedByAnotherProcess()
{
    return openFiles > 0 && user != getpid();
}

// Locks a folder, so that one process at a time creates a file in it. The lock ends with the descriptor.
FileDescriptor LockFolder(const std::string& folder)
{
    FileDescriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (std::int64_t waited = 0; descriptor.IsOpen() && waited < kPatienceMicroseconds;
         waited += kLongestWaitMicroseconds) {
        if (flock(descriptor.Get(), LOCK_EX | LOCK_NB) == 0) {
            return descriptor;
        }
        Wait(kLongestWaitMicroseconds);
    }
    return FileDescriptor();
}

} // namespace

std::int64_t Moment()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

Database::Database(std::string folder, std::string_view file, Durability durability)
    : m_folder(std::move(folder)),
      m_path(m_folder + "/" + std::string(file)),
      m_durability(durability),
      m_get("SELECT type, value FROM setting WHERE key = ?1"),
      m_set("INSERT INTO change(moment, key, type, value) VALUES (?1, ?2, ?3, ?4)"),
      m_unset("DELETE FROM setting WHERE key = ?1"),
      m_list("SELECT key, type, value FROM setting WHERE key >= ?1 ORDER BY key"),
      m_newest("SELECT coalesce(max(id), 0) FROM change"),
      m_changes("SELECT id, moment, key, type, value FROM change WHERE id > ?1 ORDER BY id"),
      // Bounded, so that the end of a long stopped watcher does not make one writer pay for all it held up.
      m_prune("DELETE FROM change WHERE id <= min(?1, (SELECT min(id) FROM change) + 4096)")
{}

Database::~Database()
{
    Close();
}

int Database::Get(std::string_view key, Value& value)
{
    if (!Begin(m_get, Reading)) {
        return kFailed;
    }
    const StatementUse use(m_get);
    m_get.Bind(1, key);
    const int result = m_get.Step();
    if (result == SQLITE_DONE) {
        Finish(Reading, result);
        return kNotFound;
    }
    if (result == SQLITE_ROW && !m_get.ReadValue(0, value)) {
        return ReportUnusable(std::string(key));
    }
    return Finish(Reading, result);
}

int Database::Set(std::string_view key, const Value& value, std::int64_t& changeId)
{
    if (!Begin(m_set, Writing)) {
        return kFailed;
    }
    const StatementUse use(m_set);
    m_set.Bind(1, Moment());
    m_set.Bind(2, key);
    m_set.BindValue(3, value);
    const int result = Finish(Writing, m_set.Step());
    if (result == kOk) {
        changeId = sqlite3_last_insert_rowid(m_connection);
    }
    return result;
}

int Database::Unset(std::string_view key)
{
    if (!Begin(m_unset, Writing)) {
        return kFailed;
    }
    const StatementUse use(m_unset);
    m_unset.Bind(1, key);
    const int result = Finish(Writing, m_unset.Step());
    return result == kOk && sqlite3_changes(m_connection) == 0 ? kNotFound : result;
}

int Database::List(std::string_view prefix, std::vector<Entry>& entries)
{
    if (!Begin(m_list, Reading)) {
        return kFailed;
    }
    const StatementUse use(m_list);
    m_list.Bind(1, prefix);
    int result = SQLITE_ROW;
    while ((result = m_list.Step()) == SQLITE_ROW) {
        Entry entry{m_list.Text(0), {}};
        if (!entry.key.starts_with(prefix)) {
            break;
        }
        if (!m_list.ReadValue(1, entry.value)) {
            return ReportUnusable(entry.key);
        }
        entries.push_back(std::move(entry));
    }
    return Finish(Reading, result);
}

int Database::NewestChange(std::int64_t& id)
{
    if (!Begin(m_newest, Reading)) {
        return kFailed;
    }
    const StatementUse use(m_newest);
    const int result = m_newest.Step();
    if (result == SQLITE_ROW) {
        id = m_newest.Number(0);
    }
    return Finish(Reading, result);
}

int Database::ChangesAfter(std::int64_t id, std::vector<Change>& changes)
{
    if (!Begin(m_changes, Reading)) {
        return kFailed;
    }
    const StatementUse use(m_changes);
    m_changes.Bind(1, id);
    int result = SQLITE_ROW;
    while ((result = m_changes.Step()) == SQLITE_ROW) {
        Change change{m_changes.Number(0), m_changes.Number(1), m_changes.Text(2), {}};
        if (m_changes.ReadValue(3, change.value)) {
            changes.push_back(std::move(change));
        }
    }
    return Finish(Reading, result);
}

int Database::Prune(const std::function<std::int64_t()>& limit)
{
    if (!Begin(m_prune, Writing)) {
        return kFailed;
    }
    // It follows a write, which may have waited already, and the next one can do it as well.
    m_patienceMicroseconds = 0;
    if (!Execute("BEGIN IMMEDIATE")) {
        return kFailed;
    }
    int result = SQLITE_DONE;
    {
        const StatementUse use(m_prune);
        m_prune.Bind(1, limit());
        result = m_prune.Step();
    }
    if (result == SQLITE_DONE && Execute("COMMIT")) {
        return kOk;
    }
    Finish(Writing, sqlite3_errcode(m_connection));
    Execute("ROLLBACK");
    return kFailed;
}

bool Database::Begin(Statement& statement, Activity activity)
{
    if (m_connection != nullptr && m_owner != getpid()) {
        Report(Opening, "it was opened before a fork, and only the parent may use it");
        return false;
    }
    m_patienceMicroseconds = m_impatient ? kImpatienceMicroseconds : kPatienceMicroseconds;
    if (m_connection == nullptr && !Open()) {
        return false;
    }
    if (!statement.Prepare(m_connection)) {
        Finish(activity, sqlite3_errcode(m_connection));
        return false;
    }
    return true;
}

int Database::Finish(Activity activity, int sqliteResult)
{
    if (sqliteResult == SQLITE_OK || sqliteResult == SQLITE_ROW || sqliteResult == SQLITE_DONE) {
        m_reported[activity] = m_damaged && m_reported[activity];
        m_impatient = m_impatient && activity != Writing;
        return kOk;
    }
    // Once waited for in vain, a file that somebody keeps locked does not hold up every single call.
    m_impatient = m_impatient || sqliteResult == SQLITE_BUSY;
    m_damaged = m_damaged || sqliteResult == SQLITE_CORRUPT;
    Report(activity, sqlite3_errmsg(m_connection));
    return kFailed;
}

bool Database::Execute(const char* sql)
{
    return sqlite3_exec(m_connection, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool Database::Open()
{
    if (OpenedByAnotherProcess()) {
        Report(Opening, "this process was forked from one that uses settings, and must run a program of its own first");
        return false;
    }
    std::error_code error;
    std::filesystem::create_directories(m_folder, error);
    if (error) {
        Report(Opening, "its folder cannot be made: " + error.message());
        return false;
    }
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    const int result = sqlite3_open_v2(m_path.c_str(), &m_connection, flags, nullptr);
    if (m_connection == nullptr) {
        Report(Opening, "out of memory");
        return false;
    }
    m_owner = getpid();
    user = m_owner;
    ++openFiles;
    if (result != SQLITE_OK || !Configure()) {
        Report(Opening, sqlite3_errmsg(m_connection));
        Close();
        return false;
    }
    m_reported[Opening] = false;
    return true;
}

bool Database::Configure()
{
    sqlite3_busy_handler(m_connection, &Database::OnBusy, this);
    std::int64_t version = 0;
    if (!ReadVersion(version)) {
        return false;
    }
    if (version == 0 && !CreateTables()) {
        return false;
    }
    if (version != 0 && version != kVersion) {
        Report(Opening, "it is of version " + std::to_string(version) + ", written by another release");
        return false;
    }
    return Execute(m_durability == Durability::PowerLoss ? "PRAGMA synchronous = FULL; PRAGMA cache_size = -128"
                                                         : "PRAGMA synchronous = OFF; PRAGMA cache_size = -128");
}

bool Database::CreateTables()
{
    // SQLite does not wait when two processes turn on the write-ahead log at once: one after the other, then.
    const FileDescriptor lock = LockFolder(m_folder);
    if (!lock.IsOpen()) {
        Report(Opening, "its folder cannot be locked");
        return false;
    }
    std::int64_t version = 0;
    if (!ReadVersion(version)) {
        return false;
    }
    return version != 0 || (Execute(kPrepareFile) && Execute(kCreateTables));
}

bool Database::ReadVersion(std::int64_t& version)
{
    Statement statement("PRAGMA user_version");
    if (!statement.Prepare(m_connection) || statement.Step() != SQLITE_ROW) {
        return false;
    }
    version = statement.Number(0);
    return true;
}

void Database::Report(Activity activity, const std::string& reason)
{
    if (m_reported[activity]) {
        return;
    }
    m_reported[activity] = true;
    constexpr const char* kActivities[] = {"open", "read", "write"};
    std::fprintf(stderr, "settings: cannot %s %s: %s\n", kActivities[activity], m_path.c_str(), reason.c_str());
}

int Database::ReportUnusable(const std::string& key)
{
    m_damaged = true;
    Report(Reading, "the value of \"" + key + "\" is not a setting's");
    return kFailed;
}

void Database::Close()
{
    const bool ours = m_connection == nullptr || m_owner == getpid();
    for (Statement* statement : {&m_get, &m_set, &m_unset, &m_list, &m_newest, &m_changes, &m_prune}) {
        // Closing in a forked child would touch the files that the parent works on.
        if (ours) {
            statement->Finalize();
        } else {
            statement->Abandon();
        }
    }
    if (ours && m_connection != nullptr) {
        sqlite3_close(m_connection);
        --openFiles;
    }
    m_connection = nullptr;
}

int Database::OnBusy(void* self, int attempt)
{
    auto* database = static_cast<Database*>(self);
    if (database->m_patienceMicroseconds <= 0) {
        return 0;
    }
    const std::int64_t wait = std::min<std::int64_t>(100 * (std::int64_t{attempt} + 1), kLongestWaitMicroseconds);
    database->m_patienceMicroseconds -= wait;
    Wait(wait);
    return 1;
}

} // namespace settings
