#include "people/Table.h"

#include "people/Text.h"

#include <algorithm>

namespace people {

void Table::Add(std::vector<std::string> cells)
{
    for (std::string& cell : cells) {
        cell = Clipped(Printable(cell), kWidest);
    }
    cells.resize(m_rows.front().size());
    m_rows.push_back(std::move(cells));
}

std::string Table::Lines(const std::string& indent) const
{
    constexpr std::size_t kGap = 2;
    std::vector<std::size_t> widths(m_rows.front().size());
    for (const auto& row : m_rows) {
        for (std::size_t column = 0; column < widths.size(); ++column) {
            widths[column] = std::max(widths[column], WidthOf(row[column]));
        }
    }
    std::string lines;
    for (const auto& row : m_rows) {
        std::string line = indent;
        for (std::size_t column = 0; column < widths.size(); ++column) {
            line += row[column] + std::string(widths[column] + kGap - WidthOf(row[column]), ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        lines += line + "\n";
    }
    return lines;
}

} // namespace people
