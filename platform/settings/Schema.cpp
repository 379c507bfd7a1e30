#include "Schema.h"

#include "CheckedType.h"
#include "Statement.h"

#include <cstddef>
#include <string>

namespace settings {
namespace {

// Small pages: a write touches three of them, and every byte of them is summed, copied and made durable.
constexpr const char* kPrepareFile = "PRAGMA page_size = 1024; PRAGMA journal_mode = WAL;";

constexpr const char* kCreateTables =
    "CREATE TABLE IF NOT EXISTS setting(key TEXT PRIMARY KEY, type INTEGER NOT NULL, value NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS change(id INTEGER PRIMARY KEY, moment INTEGER NOT NULL, key TEXT NOT NULL,"
    "                                  type INTEGER NOT NULL, value NOT NULL);"
    "CREATE TRIGGER IF NOT EXISTS apply AFTER INSERT ON change BEGIN"
    " INSERT INTO setting(key, type, value) VALUES (new.key, new.type, new.value)"
    " ON CONFLICT(key) DO UPDATE SET type = excluded.type, value = excluded.value;"
    " END;";

constexpr const char* kAddChecks = "UPDATE setting SET type = checked_type(key, type, value);"
                                   "UPDATE change SET type = checked_type(key, type, value);";

constexpr const char* kFinish = "PRAGMA user_version = 2; COMMIT;";

bool Execute(sqlite3* connection, const char* sql)
{
    return sqlite3_exec(connection, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// checked_type(key, type, value), for rows that were written without a check. What is no setting's value stays none.
void OnCheckedType(sqlite3_context* context, int /*count*/, sqlite3_value** values)
{
    const auto text = [](sqlite3_value* value) {
        const auto* data = static_cast<const char*>(sqlite3_value_blob(value));
        return std::string(data != nullptr ? data : "", static_cast<std::size_t>(sqlite3_value_bytes(value)));
    };
    const std::string key = text(values[0]);
    const std::int64_t number = sqlite3_value_int64(values[2]);
    switch (sqlite3_value_int64(values[1])) {
    case kBool:
        sqlite3_result_int64(context, CheckedType(key, number != 0));
        break;
    case kInt:
        sqlite3_result_int64(context, CheckedType(key, static_cast<int>(number)));
        break;
    case kString:
        sqlite3_result_int64(context, CheckedType(key, text(values[2])));
        break;
    default:
        sqlite3_result_value(context, values[1]);
        break;
    }
}

bool AddChecks(sqlite3* connection)
{
    return sqlite3_create_function(connection, "checked_type", 3, SQLITE_UTF8, nullptr, &OnCheckedType, nullptr,
                                   nullptr) == SQLITE_OK &&
           Execute(connection, kAddChecks);
}

} // namespace

std::optional<std::int64_t> ReadSchemaVersion(sqlite3* connection)
{
    Statement statement("PRAGMA user_version");
    if (!statement.Prepare(connection) || statement.Step() != SQLITE_ROW) {
        return std::nullopt;
    }
    return statement.Number(0);
}

bool PrepareNewFile(sqlite3* connection)
{
    return Execute(connection, kPrepareFile);
}

std::optional<std::int64_t> BringUpToDate(sqlite3* connection)
{
    if (!Execute(connection, "BEGIN IMMEDIATE")) {
        return std::nullopt;
    }
    // Looked up anew: another process may have done it while this one waited.
    const auto version = ReadSchemaVersion(connection);
    if (!version) {
        return std::nullopt;
    }
    if (*version >= kSchemaVersion || *version < 0) {
        return Execute(connection, "COMMIT") ? version : std::nullopt;
    }
    const bool made = *version == 0 ? Execute(connection, kCreateTables) : AddChecks(connection);
    return made && Execute(connection, kFinish) ? std::optional(kSchemaVersion) : std::nullopt;
}

} // namespace settings
