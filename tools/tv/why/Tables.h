#pragma once

#include "tv/why/Conditions.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace why {

/// The cells of a row, as they are embedded in the program.
struct Row
{
    std::string outcome, way, condition, function, decidedBy, mustBe, logs, seenIn;
};
struct OutcomeRow
{
    std::string name, when, page, seenIn;
};
struct Tables
{
    std::vector<OutcomeRow> outcomes;
    std::vector<Row> rows;
};

/// Reads the tables off the pages of a folder. Throws std::runtime_error, with file and line, for one that is
/// malformed.
Tables ReadTables(const std::filesystem::path& folder);

/// Throws std::invalid_argument, naming the row, for one that nobody understands.
std::vector<Outcome> OutcomesOf(const Tables& tables);

/// What stands in code quotes.
std::vector<std::string> Quoted(std::string_view cell);

} // namespace why
