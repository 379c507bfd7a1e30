// What is in a file of settings, and how a new or an older one comes to it.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <optional>

namespace settings {

// Version 1 had no checks in its column "type".
inline constexpr std::int64_t kSchemaVersion = 2;

// The version of a file: 0 when nothing was made in it yet, nothing when it cannot be read.
std::optional<std::int64_t> ReadSchemaVersion(sqlite3* connection);

// Turns on the write-ahead log. One process at a time: SQLite does not wait for another that does the same.
bool PrepareNewFile(sqlite3* connection);

// Makes the tables of a new file or takes over those of an older one, in one transaction; processes that do so at once
// wait for each other. The version that the file has then, which is another one only when it is newer; nothing, and
// sqlite3_errmsg tells why, when the file is as it was.
std::optional<std::int64_t> BringUpToDate(sqlite3* connection);

} // namespace settings
