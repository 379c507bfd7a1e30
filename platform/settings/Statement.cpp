#include "Statement.h"

#include <limits>
#include <type_traits>

namespace settings {
namespace {

// What the type columns of the files hold.
enum StoredType : std::int64_t
{
    kBool = 0,
    kInt = 1,
    kString = 2
};

template <StoredType Type>
using Alternative = std::variant_alternative_t<static_cast<std::size_t>(Type), Value>;

// BindValue writes the index of the variant.
static_assert(std::is_same_v<Alternative<kBool>, bool> && std::is_same_v<Alternative<kInt>, int> &&
              std::is_same_v<Alternative<kString>, std::string> && std::variant_size_v<Value> == 3);

} // namespace

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

void Statement::BindValue(int typeIndex, const Value& value)
{
    Bind(typeIndex, static_cast<std::int64_t>(value.index()));
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

bool Statement::ReadValue(int typeColumn, Value& value) const
{
    const int storage = sqlite3_column_type(m_statement, typeColumn + 1);
    const std::int64_t type = Number(typeColumn);
    if (type == kString && (storage == SQLITE_TEXT || storage == SQLITE_BLOB)) {
        value = Text(typeColumn + 1);
        return true;
    }
    const std::int64_t number = Number(typeColumn + 1);
    if (storage != SQLITE_INTEGER || number < std::numeric_limits<int>::min() ||
        number > std::numeric_limits<int>::max() || (type != kBool && type != kInt)) {
        return false;
    }
    if (type == kBool) {
        value = number != 0;
    } else {
        value = static_cast<int>(number);
    }
    return true;
}

void Statement::Reset()
{
    sqlite3_reset(m_statement);
    sqlite3_clear_bindings(m_statement);
}

} // namespace settings
