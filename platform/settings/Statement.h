// A prepared SQL statement, kept for the life of its connection.
#pragma once

#include "Value.h"

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace settings {

class Statement
{
public:
    explicit Statement(const char* sql) : m_sql(sql) {}
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    // Prepares at the first use: a process pays only for what it asks. False when SQLite refuses.
    bool Prepare(sqlite3* connection);

    // Frees the statement; it can be prepared again.
    void Finalize();

    // Forgets the statement without touching its connection, which belongs to another process.
    void Abandon();

    // The texts must live until the statement is reset.
    void Bind(int index, std::string_view text);
    void Bind(int index, std::int64_t number);
    // A value, and at the index before it its type with the check.
    void BindValue(int typeIndex, std::string_view key, const Value& value);

    // SQLITE_ROW, SQLITE_DONE or an error.
    int Step();
    std::int64_t Number(int column) const;
    std::string Text(int column) const;

    // Reads a type column and the value column after it. False when they do not hold what was written under this key.
    bool ReadValue(int typeColumn, std::string_view key, Value& value) const;

    void Reset();

private:
    const char* m_sql;
    sqlite3_stmt* m_statement = nullptr;
};

// Resets a statement at the end of its use, so that no read transaction stays open and holds up the checkpoints.
class StatementUse
{
public:
    explicit StatementUse(Statement& statement) : m_statement(statement) {}
    ~StatementUse()
    {
        m_statement.Reset();
    }
    StatementUse(const StatementUse&) = delete;
    StatementUse& operator=(const StatementUse&) = delete;

private:
    Statement& m_statement;
};

} // namespace settings
