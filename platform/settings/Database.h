// One file of settings: the values by key, and a log of the writes that the watchers read.
//
// A write is one row added to the log, and a trigger brings the value into the table of settings: value and notice
// are in one transaction by construction. The ids of the log rise by one with every write and are never used twice,
// because the newest row always stays.
//
// Errors are reported on standard error, once, until the same kind of operation works again; damage once and for all,
// because it is met again and again among what can still be read.
#pragma once

#include "Statement.h"
#include "Value.h"

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace settings {

// A row of the log.
struct Change
{
    std::int64_t id;
    std::int64_t moment; // nanoseconds since the machine started, taken as the write began
    std::string key;
    Value value;
};

// The clock of the moments: the same for all processes, and never set.
std::int64_t Moment();

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

    int Get(std::string_view key, Value& value);

    // `changeId` becomes the id of this write.
    int Set(std::string_view key, const Value& value, std::int64_t& changeId);

    int Unset(std::string_view key);

    // Appends the settings whose keys begin with `prefix`, in the order of their bytes.
    int List(std::string_view prefix, std::vector<Entry>& entries);

    // The id of the last write, 0 when there was none.
    int NewestChange(std::int64_t& id);

    // Appends the writes after `id`, oldest first.
    int ChangesAfter(std::int64_t id, std::vector<Change>& changes);

    // Removes old rows of the log, a bounded number at a time. `limit` is asked, while no one can write, for the last
    // id that may go.
    int Prune(const std::function<std::int64_t()>& limit);

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

    bool Open();
    bool Configure();
    bool CreateTables();
    bool ReadVersion(std::int64_t& version);
    bool Begin(Statement& statement, Activity activity);
    int Finish(Activity activity, int sqliteResult);
    bool Execute(const char* sql);
    void Report(Activity activity, const std::string& reason);
    int ReportUnusable(const std::string& key);
    void Close();

    static int OnBusy(void* self, int attempt);

    std::string m_folder;
    std::string m_path;
    Durability m_durability;
    sqlite3* m_connection = nullptr;
    pid_t m_owner = 0;
    bool m_impatient = false;                // the last write waited in vain
    std::int64_t m_patienceMicroseconds = 0; // what is left of it for this operation
    bool m_damaged = false;
    bool m_reported[3] = {false, false, false};

    Statement m_get;
    Statement m_set;
    Statement m_unset;
    Statement m_list;
    Statement m_newest;
    Statement m_changes;
    Statement m_prune;
};

} // namespace settings
