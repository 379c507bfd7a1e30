#include "Database.h"

#include "FileDescriptor.h"
#include "Forks.h"
#include "Schema.h"
#include "Waiting.h"
#include "settings/Change.h"
#include "settings/LastWrite.h"
#include "settings/Moment.h"
#include "settings/Rights.h"
#include "settings/Statement.h"
#include "settings/Value.h"

#include <glib.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>
#include <variant>

namespace settings {
namespace {

constexpr const char* kConfigure = "PRAGMA cache_size = -128; PRAGMA journal_size_limit = 2097152;";

// How many pages of 1 KiB the write-ahead log has before it is brought home and used anew: of the usual writes' some
// hundred. Whoever opens the file after a power cut reads the whole log, and each start waits for that; bringing it
// home costs a few writes to the disk. After a longer log, as big values or a reader that holds it up make it, the file
// is cut to the limit above.
constexpr int kPagesInLog = 200;

// How long an operation waits for others, in all: for the first file that this process waits for, for a second one
// while the first is still held, and for one that was waited for in vain before. So a start is held up for 0.9 s, and a
// little for each write after that, whoever holds what.
constexpr std::int64_t kPatienceMicroseconds = 700'000;
constexpr std::int64_t kPatienceForASecondFileMicroseconds = 200'000;
constexpr std::int64_t kImpatienceMicroseconds = 5'000;

// Longer than any other process is in the middle of a write.
constexpr std::int64_t kEndOfWritesMicroseconds = 100'000;

// How many files this process waited for in vain, and has not written to since.
std::atomic<int> heldFiles{0};

// How many files this process has open, and what Forks() said then. A fork inherits SQLite's idea of the locks that it
// holds, but not the locks.
std::atomic<int> openFiles{0};
std::atomic<unsigned> openedAfterForks{0};

bool OpenedByAnotherProcess()
{
    return openFiles > 0 && openedAfterForks != Forks();
}

struct FreeText
{
    void operator()(char* text) const
    {
        g_free(text);
    }
};

bool IsOnReadOnlyMedium(const std::string& folder)
{
    return access(folder.c_str(), W_OK) != 0 && errno == EROFS;
}

} // namespace

Database::Database(std::string folder, std::string_view file, Durability durability)
    : m_folder(std::move(folder)),
      m_path(m_folder + "/" + std::string(file)),
      m_indexPath(m_path + "-shm"),
      m_durability(durability),
      m_get("SELECT type, value FROM setting WHERE key = ?1"),
      m_set("INSERT INTO change(moment, key, type, value) VALUES (?1, ?2, ?3, ?4)"),
      m_unset("DELETE FROM setting WHERE key = ?1"),
      m_list("SELECT key, type, value FROM setting WHERE key >= ?1 ORDER BY key"),
      m_newest("SELECT coalesce(max(id), 0) FROM change"),
      m_backwards("SELECT moment, id FROM change ORDER BY id DESC"),
      m_changes("SELECT id, moment, key, type, value FROM change WHERE id > ?1 ORDER BY id"),
      // Bounded, so that the end of a long stopped watcher does not make one writer pay for all it held up.
      m_prune("DELETE FROM change WHERE id <= min(?1, (SELECT min(id) FROM change) + 4096)")
{}

Database::~Database()
{
    SetImpatient(false);
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
        LookThrough();
        return kNotFound;
    }
    if (result == SQLITE_ROW && !m_get.ReadValue(0, key, value)) {
        ReportDamage(std::string(key));
        return kNotFound;
    }
    return Finish(Reading, result);
}

int Database::Set(std::string_view key, const Value& value, std::int64_t& changeId, std::int64_t* moment)
{
    if (!Begin(m_set, Writing)) {
        return kFailed;
    }
    const StatementUse use(m_set);
    const std::int64_t now = Moment();
    m_set.Bind(1, now);
    m_set.Bind(2, key);
    m_set.BindValue(3, key, value);
    const int result = Finish(Writing, m_set.Step());
    if (result == kOk) {
        changeId = KnowId(sqlite3_last_insert_rowid(m_connection));
        if (moment != nullptr) {
            *moment = now;
        }
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
    bool whole = true;
    int result = SQLITE_ROW;
    while ((result = m_list.Step()) == SQLITE_ROW) {
        Entry entry{m_list.Text(0), {}};
        if (!entry.key.starts_with(prefix)) {
            break;
        }
        if (m_list.ReadValue(1, entry.key, entry.value)) {
            entries.push_back(std::move(entry));
        } else {
            ReportDamage(entry.key);
            whole = false;
        }
    }
    result = Finish(Reading, result);
    return whole ? result : kFailed;
}

int Database::NewestChange(std::int64_t& id)
{
    if (!Begin(m_newest, Reading)) {
        return kFailed;
    }
    const StatementUse use(m_newest);
    return ReadId(m_newest, id);
}

int Database::NewestChangeBefore(std::int64_t moment, std::int64_t& id)
{
    if (!Begin(m_backwards, Reading)) {
        return kFailed;
    }
    const StatementUse use(m_backwards);
    int result = m_backwards.Step();
    // Rows of an earlier start of the machine may have later moments than now. The first step says which rows there
    // are: had the clock been read before it, a row written in between would be taken for such a one, and never told.
    const std::int64_t now = Moment();
    const auto isSince = [&] { return m_backwards.Number(0) >= moment && m_backwards.Number(0) <= now; };
    while (result == SQLITE_ROW && isSince()) {
        result = m_backwards.Step();
    }
    if (result == SQLITE_ROW || result == SQLITE_DONE) {
        id = KnowId(result == SQLITE_ROW ? m_backwards.Number(1) : 0);
    }
    return Finish(Reading, result);
}

int Database::ReadId(Statement& statement, std::int64_t& id)
{
    const int result = statement.Step();
    if (result == SQLITE_ROW) {
        id = KnowId(statement.Number(0));
    }
    return Finish(Reading, result);
}

int Database::ChangesAfter(std::int64_t id, std::vector<Change>& changes)
{
    const std::size_t known = changes.size();
    int result = ReadChanges(id, changes);
    // Where there is something to read nothing was replaced; a look costs every notice more than this now and then.
    if (result == kOk && changes.size() == known && IsReplaced()) {
        GoOverToNewFile();
        result = ReadChanges(id, changes);
    }
    return result;
}

std::optional<Change> Database::ChangeAfter(std::int64_t id, std::string_view lastWrite)
{
    if (m_connection == nullptr) {
        return std::nullopt;
    }
    std::optional<Change> change = UnpackLastWrite(lastWrite, InFile(id + 1));
    if (change) {
        change->id = KnowId(change->id);
    }
    return change;
}

int Database::ReadChanges(std::int64_t id, std::vector<Change>& changes)
{
    if (!Begin(m_changes, Reading, kIndex)) {
        return kFailed;
    }
    const StatementUse use(m_changes);
    m_changes.Bind(1, IdInFile(id));
    int result = SQLITE_ROW;
    while ((result = m_changes.Step()) == SQLITE_ROW) {
        Change change{KnowId(m_changes.Number(0)), m_changes.Number(1), m_changes.Text(2), {}};
        if (m_changes.ReadValue(3, change.key, change.value)) {
            changes.push_back(std::move(change));
        } else {
            ReportDamage(change.key);
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
    AllowWaiting(0);
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
    Fail(Writing, sqlite3_errcode(m_connection));
    Execute("ROLLBACK");
    return kFailed;
}

// A key is missing: because it was never set, or because damage hides it. Once an opening the whole file is looked
// through for that, which takes some 0.1 ms.
void Database::LookThrough()
{
    if (m_lookedThrough) {
        return;
    }
    m_lookedThrough = true;
    Statement check("PRAGMA quick_check(setting)");
    bool isWhole = !check.Prepare(m_connection) || check.Step() != SQLITE_ROW || check.Text(0) == "ok";
    // SQLite's look does not see rows that are out of their order, which a search goes past.
    isWhole = AreRowsInOrder() && isWhole;
    if (!isWhole) {
        m_damaged = true;
        Report(Reading, "parts of it are damaged, and keys may be missing");
    }
}

// As far as the rows can be read. Damaged values are reported, and their keys left out.
bool Database::AreRowsInOrder()
{
    Statement rows("SELECT key, type, value FROM setting");
    bool inOrder = true;
    int result = rows.Prepare(m_connection) ? SQLITE_ROW : sqlite3_errcode(m_connection);
    for (std::string before; result == SQLITE_ROW && (result = rows.Step()) == SQLITE_ROW;) {
        std::string key = rows.Text(0);
        Value value;
        if (!rows.ReadValue(1, key, value)) {
            ReportDamage(key);
            continue;
        }
        inOrder = inOrder && before < key;
        before = std::move(key);
    }
    Finish(Reading, result);
    return inOrder;
}

bool Database::Begin(Statement& statement, Activity activity, Look look)
{
    if (m_connection != nullptr && m_forks != Forks()) {
        Report(Opening, "it was opened before a fork, and only the parent may use it");
        return false;
    }
    AllowWaiting(Patience());
    if (m_connection != nullptr && look == kFileAndIndex && IsReplaced()) {
        GoOverToNewFile();
    }
    if (m_connection != nullptr) {
        LookAfterIndex();
    }
    if (m_connection == nullptr && !Open()) {
        return false;
    }
    if (!statement.Prepare(m_connection)) {
        Fail(activity, sqlite3_errcode(m_connection));
        return false;
    }
    return true;
}

int Database::Finish(Activity activity, int sqliteResult)
{
    if (sqliteResult == SQLITE_OK || sqliteResult == SQLITE_ROW || sqliteResult == SQLITE_DONE) {
        m_reported[activity] = m_damaged && m_reported[activity];
        SetImpatient(m_impatient && activity != Writing);
        return kOk;
    }
    return Fail(activity, sqliteResult);
}

int Database::Fail(Activity activity, int sqliteResult)
{
    // Somebody holds the file for long. Were each of the following operations to wait as well, a start that makes
    // dozens of them would take minutes.
    SetImpatient(m_impatient || sqliteResult == SQLITE_BUSY || sqliteResult == SQLITE_PROTOCOL);
    m_damaged = m_damaged || sqliteResult == SQLITE_CORRUPT;
    const bool denied = sqliteResult == SQLITE_CANTOPEN && sqlite3_system_errno(m_connection) == EACCES;
    Report(activity, std::string(sqlite3_errmsg(m_connection)) + (denied ? ": Permission denied" : ""));
    return kFailed;
}

std::int64_t Database::Patience() const
{
    if (m_impatient) {
        return kImpatienceMicroseconds;
    }
    return heldFiles > 0 ? kPatienceForASecondFileMicroseconds : kPatienceMicroseconds;
}

void Database::SetImpatient(bool impatient)
{
    heldFiles += static_cast<int>(impatient) - static_cast<int>(m_impatient);
    m_impatient = impatient;
}

bool Database::Execute(const char* sql)
{
    return sqlite3_exec(m_connection, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// The ids of a replaced file go on after those of the one before, so that watchers take its writes for new ones.
std::int64_t Database::KnowId(std::int64_t idInFile)
{
    m_lastId = idInFile + m_earlierIds;
    return m_lastId;
}

bool Database::Open()
{
    if (OpenedByAnotherProcess()) {
        Report(Opening, "this process was forked from one that uses settings, and must run a program of its own first");
        return false;
    }
    // Tried at every operation, so that once it was waited for in vain one look is enough.
    if (m_impatient) {
        AllowWaiting(0);
    }
    if (const std::error_code error = PrepareFolder(m_folder, m_rights); error) {
        Report(Opening, "its folder cannot be made: " + error.message());
        return false;
    }
    m_readOnlyMedium = IsOnReadOnlyMedium(m_folder);
    FileDescriptor lock;
    if (!MakeFile(lock)) {
        return false;
    }
    if (!OpenConnection() || !Configure(lock)) {
        Fail(Opening, sqlite3_errcode(m_connection));
        Close();
        return false;
    }
    for (const char* companion : {"-wal", "-shm"}) {
        ApplyRights(m_path + companion, m_rights);
    }
    if (!HoldFiles()) {
        Report(Opening, std::generic_category().message(errno));
        Close();
        return false;
    }
    m_lookedThrough = false;
    m_reported[Opening] = false;
    return true;
}

// Makes the file, so that it has its rights from the first moment on; SQLite gives its companions the same.
bool Database::MakeFile(FileDescriptor& lock)
{
    const bool exists = access(m_path.c_str(), F_OK) == 0;
    if (!exists && errno != ENOENT) {
        Report(Opening, std::generic_category().message(errno));
        return false;
    }
    if (exists || m_readOnlyMedium) {
        ApplyRights(m_path, m_rights);
        return true;
    }
    if (!Lock(lock)) {
        return false;
    }
    if (access(m_path.c_str(), F_OK) != 0) {
        // What a removed file left behind would be taken for this one's.
        for (const char* companion : {"-wal", "-shm"}) {
            unlink((m_path + companion).c_str());
        }
        if (mknod(m_path.c_str(), S_IFREG | 0600, 0) != 0) {
            Report(Opening, "it cannot be made: " + std::generic_category().message(errno));
            return false;
        }
        ApplyRights(m_path, m_rights);
    }
    return true;
}

bool Database::OpenConnection()
{
    std::string name = m_path;
    int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX;
    struct stat log
    {};
    // Without a write-ahead log the file is whole, and SQLite needs to make no files beside it to read it.
    if (m_readOnlyMedium && (stat((m_path + "-wal").c_str(), &log) != 0 || log.st_size == 0)) {
        const std::unique_ptr<char, FreeText> escaped(g_uri_escape_string(m_path.c_str(), "/", TRUE));
        name = "file:" + std::string(escaped.get()) + "?immutable=1";
        flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX;
    }
    const int result = sqlite3_open_v2(name.c_str(), &m_connection, flags, FileSystemOfOurs());
    if (m_connection != nullptr) {
        m_forks = Forks();
        openedAfterForks = m_forks;
        ++openFiles;
    }
    return result == SQLITE_OK;
}

bool Database::Configure(FileDescriptor& lock)
{
    sqlite3_busy_handler(m_connection, &Database::OnBusy, nullptr);
    sqlite3_wal_autocheckpoint(m_connection, kPagesInLog);
    auto version = ReadSchemaVersion(m_connection);
    if (version == 0) {
        if (!Lock(lock) || !PrepareNewFile(m_connection)) {
            return false;
        }
    }
    if (version && *version != kSchemaVersion) {
        version = BringUpToDate(m_connection);
    }
    if (version && *version != kSchemaVersion) {
        Report(Opening, "it is of version " + std::to_string(*version) + ", written by another release");
        return false;
    }
    return version && Execute(kConfigure) &&
           Execute(m_durability == Durability::PowerLoss ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = OFF");
}

// Lets one process at a time make the file, with a file of its own beside it that only who may use the settings can
// open and so lock.
bool Database::Lock(FileDescriptor& lock)
{
    const std::string path = m_path + "-lock";
    for (int attempt = 0; !lock.IsOpen(); ++attempt) {
        FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
        if (file.IsOpen() && flock(file.Get(), LOCK_EX | LOCK_NB) == 0) {
            ApplyRights(path, m_rights);
            lock = std::move(file);
        } else if (const int error = errno; !WaitALittle(attempt)) {
            SetImpatient(true);
            Report(Opening, "cannot lock " + path + ": " + std::generic_category().message(error));
            return false;
        }
    }
    return true;
}

bool Database::HoldFiles()
{
    const auto hold = [](const std::string& path) { return FileDescriptor(open(path.c_str(), O_PATH | O_CLOEXEC)); };
    m_file = hold(m_path);
    struct stat status
    {};
    if (!m_file.IsOpen() || fstat(m_file.Get(), &status) != 0) {
        return false;
    }
    m_device = status.st_dev;
    m_inode = status.st_ino;
    m_index = hold(m_indexPath);
    m_fileChanged = {};
    m_indexSize = IndexSize();
    return m_index.IsOpen() || m_readOnlyMedium;
}

// SQLite does not look: it would go on with a removed file that nobody else sees, and the first access to an index that
// was cut ends the process with SIGBUS.
void Database::LookAfterIndex()
{
    const off_t size = IndexSize();
    if (size >= m_indexSize) {
        m_indexSize = size;
        return;
    }
    if (size >= 0) {
        std::fprintf(stderr, "settings: %s was cut while in use; it is made anew\n", m_indexPath.c_str());
    }
    if (size >= 0 && MakeIndexAnew()) {
        return;
    }
    if (IsReplaced()) {
        GoOverToNewFile();
    } else {
        Abandon(m_indexPath);
    }
}

// What now has the file's name is opened by whatever comes next.
void Database::GoOverToNewFile()
{
    Abandon(m_path);
    m_earlierIds = m_lastId;
}

void Database::Abandon(const std::string& removed)
{
    std::fprintf(stderr, "settings: %s was removed or replaced while in use; all is opened anew\n", removed.c_str());
    // At the end SQLite would bring the log home, into what may be another file by now.
    sqlite3_db_config(m_connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    Close();
}

// Whether the file is gone or its name stands for another one. A file that is moved counts as changed, like one that
// was written to, which happens once in some dozens of writes; only then the name is looked up. The count of names
// tells what the time of the change does not on kernels that stamp files every few milliseconds only.
bool Database::IsReplaced()
{
    struct stat ours
    {};
    if (fstat(m_file.Get(), &ours) != 0 || ours.st_nlink == 0) {
        return true;
    }
    if (ours.st_ctim.tv_sec == m_fileChanged.tv_sec && ours.st_ctim.tv_nsec == m_fileChanged.tv_nsec) {
        return false;
    }
    m_fileChanged = ours.st_ctim;
    struct stat named
    {};
    return stat(m_path.c_str(), &named) != 0 || named.st_ino != ours.st_ino || named.st_dev != ours.st_dev;
}

// 0 without an index, as on a read-only medium; -1 when it was removed.
off_t Database::IndexSize() const
{
    struct stat status
    {};
    if (!m_index.IsOpen() || fstat(m_index.Get(), &status) != 0) {
        return 0;
    }
    return status.st_nlink > 0 ? status.st_size : -1;
}

// Gives the index its size back. It is all zeros then, from which SQLite builds it as after a crash.
bool Database::MakeIndexAnew()
{
    // Not in the middle of a write that another process began before the cut: it would go on with half an index.
    AllowWaiting(kEndOfWritesMicroseconds);
    for (int attempt = 0; WaitALittle(attempt); ++attempt) {
    }
    AllowWaiting(Patience());
    // Perhaps another process was faster. By name, because a descriptor to write with would end SQLite's locks.
    const off_t size = IndexSize();
    return size >= m_indexSize || (size >= 0 && truncate(m_indexPath.c_str(), m_indexSize) == 0);
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

void Database::ReportDamage(const std::string& key)
{
    m_damaged = true;
    Report(Reading, "the value of \"" + key + "\" is damaged");
}

void Database::Close()
{
    const bool ours = m_connection == nullptr || m_forks == Forks();
    for (Statement* statement : {&m_get, &m_set, &m_unset, &m_list, &m_newest, &m_backwards, &m_changes, &m_prune}) {
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

int Database::OnBusy(void* /*self*/, int attempt)
{
    return WaitALittle(attempt) ? 1 : 0;
}

} // namespace settings
