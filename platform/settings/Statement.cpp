#include "Statement.h"

#include "CheckedType.h"
#include "settings/Value.h"

#include <cstddef>
#include <limits>
#include <type_traits>
#include <utility>
#include <variant>

namespace settings {
Statement::~Statement()
{
    Finalize();
}

bool Statement::Prepare(sqlite3* connection)
{
    return m_statement != nullptr ||
           sqlite3_prepare_v3(connection, m_sql, -1, SQLITE_PREPARE_PERSISTENT, &m_statement, nullptr) == SQLITE_OK;
}

void Statement::Finalize()
{
    sqlite3_finalize(m_statement);
    m_statement = nullptr;
}

void Statement::Abandon()
{
    m_statement = nullptr;
}

void Statement::Bind(int index, std::string_view text)
{
    const char* data = text.data() != nullptr ? text.data() : "";
    sqlite3_bind_text64(m_statement, index, data, text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

void Statement::Bind(int index, std::int64_t number)
{
    sqlite3_bind_int64(m_statement, index, number);
}

void Statement::BindValue(int typeIndex, std::string_view key, const Value& value)
{
    Bind(typeIndex, CheckedType(key, value));
    if (const auto* text = std::get_if<std::string>(&value); text != nullptr) {
        Bind(typeIndex + 1, std::string_view(*text));
    } else if (const auto* number = std::get_if<int>(&value); number != nullptr) {
        Bind(typeIndex + 1, static_cast<std::int64_t>(*number));
    } else {
        Bind(typeIndex + 1, static_cast<std::int64_t>(std::get<bool>(value)));
    }
}

int Statement::Step()
{
    return sqlite3_step(m_statement);
}

std::int64_t Statement::Number(int column) const
{
    return sqlite3_column_int64(m_statement, column);
}

std::string Statement::Text(int column) const
{
    // As a blob: the bytes as they were written, whatever they are.
    const auto* data = static_cast<const char*>(sqlite3_column_blob(m_statement, column));
    const int size = sqlite3_column_bytes(m_statement, column);
    return data != nullptr ? std::string(data, static_cast<std::size_t>(size)) : std::string();
}

bool Statement::ReadValue(int typeColumn, std::string_view key, Value& value) const
{
    const int storage = sqlite3_column_type(m_statement, typeColumn + 1);
    const std::int64_t checkedType = Number(typeColumn);
    const std::int64_t number = Number(typeColumn + 1);
    Value read;
    switch (TypeIn(checkedType)) {
    case kBool:
        read = number != 0;
        break;
    case kInt:
        read = static_cast<int>(number);
        break;
    case kString:
        read = Text(typeColumn + 1);
        break;
    default:
        return false;
    }
    const bool isText = storage == SQLITE_TEXT || storage == SQLITE_BLOB;
    const bool fits = isText || (storage == SQLITE_INTEGER && number == static_cast<int>(number));
    if (!fits || isText != (TypeIn(checkedType) == kString) || CheckedType(key, read) != checkedType) {
        return false;
    }
    value = std::move(read);
    return true;
}

void Statement::Reset()
{
    sqlite3_reset(m_statement);
    sqlite3_clear_bindings(m_statement);
}

} // namespace settings
