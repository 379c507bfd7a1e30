// One file of settings: the values by key, and a log of the writes that the watchers read.
//
// A write is one row added to the log, and a trigger brings the value into the table of settings: value and notice
// are in one transaction by construction. The ids of the log rise by one with every write and are never used twice,
// because the newest row always stays.
//
// Every row carries a check of its key and value. A row whose check is wrong counts as missing.
//
// Errors are reported on standard error, once, until the same kind of operation works again. Damage is reported once in
// the life of the object, because what is damaged stays so while the rest can be read.
//
// Somebody may remove or replace the file, or empty its companion "-shm", while it is open. Each operation looks for
// that first. The object then goes over to the file of that name as it is now, as all other processes do.
#pragma once

#include "Change.h"
#include "FileDescriptor.h"
#include "LastWrite.h"
#include "Moment.h"
#include "Rights.h"
#include "Statement.h"
#include "Value.h"

#include <sqlite3.h>

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace settings {

enum class Durability
{
    PowerLoss,   // an acknowledged write survives the power being cut
    ProcessDeath // an acknowledged write survives its writer; the file itself lives in RAM
};

class Database
{
public:
    // Nothing is opened before the first use.
    Database(std::string folder, std::string_view file, Durability durability);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // kOk, kNotFound or kFailed. A damaged value is reported and counts as missing.
    int Get(std::string_view key, Value& value);

    // `changeId` becomes the id of this write, and `moment` that at which it began. The ids go on rising when the file
    // is replaced by another, whose own ids begin anew.
    int Set(std::string_view key, const Value& value, std::int64_t& changeId, std::int64_t* moment = nullptr);

    int Unset(std::string_view key);

    // Appends the settings whose keys begin with `prefix`, in the order of their bytes. kFailed also when some of them
    // are damaged and so left out.
    int List(std::string_view prefix, std::vector<Entry>& entries);

    // The id of the last write, 0 when there was none.
    int NewestChange(std::int64_t& id);

    // The id of the last write that began before a moment of this start of the machine, 0 when there was none.
    int NewestChangeBefore(std::int64_t moment, std::int64_t& id);

    // Appends the writes after `id`, oldest first, but for damaged ones.
    int ChangesAfter(std::int64_t id, std::vector<Change>& changes);

    // The write that follows `id`, when that is the one that was packed (LastWrite.h). The file is not looked at.
    std::optional<Change> ChangeAfter(std::int64_t id, std::string_view lastWrite);

    // Removes old rows of the log, a bounded number at a time. `limit` is asked, while no one can write, for the last
    // id, as the file has it, that may go.
    int Prune(const std::function<std::int64_t()>& limit);

    // An id as the file has it, which is what processes tell each other.
    std::int64_t IdInFile(std::int64_t id) const
    {
        return id - m_earlierIds;
    }
    WriteId InFile(std::int64_t id) const
    {
        return {m_device, m_inode, IdInFile(id)};
    }

    // Who may read the file.
    const Rights& FileRights() const
    {
        return m_rights;
    }
    const std::string& Path() const
    {
        return m_path;
    }

private:
    enum Activity
    {
        Opening,
        Reading,
        Writing
    };

    // What is looked at before an operation.
    enum Look
    {
        kIndex,
        kFileAndIndex
    };

    bool Begin(Statement& statement, Activity activity, Look look = kFileAndIndex);
    int ReadId(Statement& statement, std::int64_t& id);
    int ReadChanges(std::int64_t id, std::vector<Change>& changes);
    void LookThrough();
    bool AreRowsInOrder();
    int Finish(Activity activity, int sqliteResult);
    int Fail(Activity activity, int sqliteResult);
    bool Execute(const char* sql);
    std::int64_t Patience() const;
    void SetImpatient(bool impatient);
    void Report(Activity activity, const std::string& reason);
    void ReportDamage(const std::string& key);
    std::int64_t KnowId(std::int64_t idInFile);

    bool Open();
    bool OpenConnection();
    bool MakeFile(FileDescriptor& lock);
    bool Configure(FileDescriptor& lock);
    bool Lock(FileDescriptor& lock);
    bool HoldFiles();
    bool IsReplaced();
    void LookAfterIndex();
    void GoOverToNewFile();
    void Abandon(const std::string& removed);
    off_t IndexSize() const;
    bool MakeIndexAnew();
    void Close();

    static int OnBusy(void* self, int attempt);

    std::string m_folder;
    std::string m_path;
    std::string m_indexPath; // of "-shm", the write-ahead log's index, which SQLite maps into memory
    Durability m_durability;
    sqlite3* m_connection = nullptr;
    unsigned m_forks = 0; // what Forks() said as it was opened
    bool m_readOnlyMedium = false;
    Rights m_rights;
    bool m_impatient = false; // an operation waited in vain for others, and no write was done since
    bool m_damaged = false;
    bool m_lookedThrough = false; // for damage, since the file was opened
    bool m_reported[3] = {false, false, false};

    // The file and the index by name only: closing them ends none of the locks that SQLite holds.
    FileDescriptor m_file;
    FileDescriptor m_index;
    dev_t m_device = 0;
    ino_t m_inode = 0;
    timespec m_fileChanged{};
    off_t m_indexSize = 0;

    std::int64_t m_earlierIds = 0; // what the ids of this file are raised by, after those of the files before it
    std::int64_t m_lastId = 0;     // the last that was seen, which is the highest once the log was read

    Statement m_get;
    Statement m_set;
    Statement m_unset;
    Statement m_list;
    Statement m_newest;
    Statement m_backwards;
    Statement m_changes;
    Statement m_prune;
};

} // namespace settings
