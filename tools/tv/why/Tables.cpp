#include "tv/why/Tables.h"

#include "tv/why/Evidence.h"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <utility>

namespace why {

namespace {

constexpr std::string_view kConditions =
    "| way | condition | function | decided by | must be | log when not | seen in |";
constexpr std::string_view kOutcomes = "| outcome | it has come when | page | seen in |";
constexpr std::string_view kHeading = "## Why not `";
constexpr std::string_view kEvery = "every";

std::string Trimmed(std::string_view text)
{
    const std::size_t begin = text.find_first_not_of(' ');
    return begin == std::string_view::npos ? ""
                                           : std::string(text.substr(begin, text.find_last_not_of(' ') - begin + 1));
}

std::vector<std::string> Cells(const std::string& line)
{
    std::vector<std::string> cells;
    std::size_t begin = 1;
    for (std::size_t bar = line.find('|', begin); bar != std::string::npos; bar = line.find('|', begin)) {
        cells.push_back(Trimmed(std::string_view(line).substr(begin, bar - begin)));
        begin = bar + 1;
    }
    return cells;
}

/// Reads one page, line by line.
class Reader
{
public:
    Reader(std::filesystem::path path, Tables& tables) : m_path(std::move(path)), m_tables(tables) {}

    void Reads()
    {
        std::ifstream file(m_path);
        if (!file) {
            Refuse("it cannot be read");
        }
        for (std::string line; std::getline(file, line);) {
            ++m_number;
            Takes(line);
        }
    }

private:
    [[noreturn]] void Refuse(const std::string& why) const
    {
        throw std::runtime_error(m_path.string() + ":" + std::to_string(m_number) + ": " + why);
    }

    void Takes(const std::string& line)
    {
        if (line.starts_with(kHeading)) {
            m_outcome = line.substr(kHeading.size(), line.find('`', kHeading.size()) - kHeading.size());
        } else if (line == kConditions || line == kOutcomes) {
            m_columns = std::ranges::count(line, '|') - 1;
        } else if (!line.starts_with('|')) {
            m_columns = 0;
        } else if (m_columns > 0 && !line.starts_with("| ---")) {
            TakesRow(Cells(line));
        }
    }

    void TakesRow(const std::vector<std::string>& cells)
    {
        if (static_cast<std::ptrdiff_t>(cells.size()) != m_columns) {
            Refuse("this row has another number of cells than its head");
        }
        if (std::ranges::find(cells, "") != cells.end()) {
            Refuse("a cell is empty");
        }
        const std::vector<std::string> first = Quoted(cells[0]);
        if (first.size() != 1) {
            Refuse("the first cell is one word in code quotes");
        }
        if (m_columns == std::ranges::count(kOutcomes, '|') - 1) {
            m_tables.outcomes.push_back({first[0], cells[1], cells[2], cells[3]});
        } else if (m_outcome.empty()) {
            Refuse("this table stands under no heading that says why not what");
        } else {
            m_tables.rows.push_back({m_outcome, first[0], cells[1], cells[2], cells[3], cells[4], cells[5], cells[6]});
        }
    }

    std::filesystem::path m_path;
    Tables& m_tables;
    std::string m_outcome;
    std::ptrdiff_t m_columns = 0;
    int m_number = 0;
};

Condition ConditionOf(const Row& row)
{
    const std::vector<std::string> function = Quoted(row.function);
    if (function.size() != 1) {
        throw std::invalid_argument("one function decides");
    }
    return {row.condition, function[0], Quoted(row.decidedBy), row.mustBe, Quoted(row.logs), ParseEvidence(row.seenIn)};
}

void Add(Outcome& outcome, const Row& row)
{
    const Condition condition = ConditionOf(row);
    if (row.way == kEvery) {
        for (Way& way : outcome.ways) {
            way.conditions.push_back(condition);
        }
        return;
    }
    if (outcome.ways.empty() || outcome.ways.back().name != row.way) {
        outcome.ways.push_back({row.way, {}});
    }
    outcome.ways.back().conditions.push_back(condition);
}

/// A way begins with something that happens.
void Check(const Outcome& outcome)
{
    if (outcome.ways.empty()) {
        throw std::invalid_argument(outcome.name + " has no table");
    }
    for (const Way& way : outcome.ways) {
        const bool begins = std::ranges::any_of(way.conditions, [](const Condition& condition) {
            return !condition.seenIn.empty() && condition.seenIn.front().front().sense == Sight::Sense::Came;
        });
        if (!begins) {
            throw std::invalid_argument(outcome.name + ", " + way.name + ": nothing that happens begins this way");
        }
        for (const Condition& condition : way.conditions) {
            if (std::ranges::count(way.conditions, condition.condition, &Condition::condition) != 1) {
                throw std::invalid_argument(outcome.name + ", " + way.name + ": \"" + condition.condition +
                                            "\" stands there twice");
            }
        }
    }
}

} // namespace

std::vector<std::string> Quoted(std::string_view cell)
{
    std::vector<std::string> quoted;
    std::size_t end = 0;
    for (std::size_t begin = cell.find('`'); begin != std::string_view::npos; begin = cell.find('`', end + 1)) {
        end = cell.find('`', begin + 1);
        if (end == std::string_view::npos) {
            break;
        }
        quoted.emplace_back(cell.substr(begin + 1, end - begin - 1));
    }
    return quoted;
}

Tables ReadTables(const std::filesystem::path& folder)
{
    std::vector<std::filesystem::path> pages;
    for (const std::filesystem::directory_entry& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".md") {
            pages.push_back(entry.path());
        }
    }
    std::ranges::sort(pages);
    Tables tables;
    for (const std::filesystem::path& page : pages) {
        Reader(page, tables).Reads();
    }
    return tables;
}

std::vector<Outcome> OutcomesOf(const Tables& tables)
{
    std::vector<Outcome> outcomes;
    for (const OutcomeRow& row : tables.outcomes) {
        outcomes.push_back({row.name, row.when, row.page, ParseEvidence(row.seenIn), {}});
    }
    for (const Row& row : tables.rows) {
        const auto outcome = std::ranges::find(outcomes, row.outcome, &Outcome::name);
        if (outcome == outcomes.end()) {
            throw std::invalid_argument(row.outcome + " is not among the outcomes of the first page");
        }
        try {
            Add(*outcome, row);
        } catch (const std::invalid_argument& wrong) {
            throw std::invalid_argument(row.outcome + ", " + row.way + ", \"" + row.condition + "\": " + wrong.what());
        }
    }
    std::ranges::for_each(outcomes, Check);
    return outcomes;
}

} // namespace why
