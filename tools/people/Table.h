#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace people {

/// Rows for people, each column as wide as its widest cell.
class Table
{
public:
    /// The widest cell that is shown whole: a device may call itself something of 248 bytes.
    static constexpr std::size_t kWidest = 40;

    explicit Table(std::vector<std::string> heading) : m_rows{std::move(heading)} {}

    /// \param cells text from anywhere, one for each column
    void Add(std::vector<std::string> cells);

    [[nodiscard]] bool IsEmpty() const
    {
        return m_rows.size() == 1;
    }

    /// \param indent what each line begins with
    [[nodiscard]] std::string Lines(const std::string& indent = {}) const;

private:
    std::vector<std::vector<std::string>> m_rows;
};

} // namespace people
