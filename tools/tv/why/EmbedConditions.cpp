// For the build: writes the tables of a folder of pages as C++, and refuses those that nobody understands.

#include "tv/why/Tables.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// As the content of "{R"why(...)why", ...},".
std::string Initializer(std::initializer_list<std::string> cells)
{
    std::string text = "    {";
    const char* separator = "";
    for (const std::string& cell : cells) {
        text += separator;
        text += "R\"why(" + cell + ")why\"";
        separator = ", ";
    }
    return text + "},\n";
}

std::string AsCode(const why::Tables& tables)
{
    std::string code = "// From docs/behaviour, by the build.\n\n#include \"tv/why/Tables.h\"\n\n"
                       "namespace why {\n\nTables EmbeddedTables();\n\nTables EmbeddedTables()\n{\n    return {{\n";
    for (const why::OutcomeRow& row : tables.outcomes) {
        code += Initializer({row.name, row.when, row.page, row.seenIn});
    }
    code += "    }, {\n";
    for (const why::Row& row : tables.rows) {
        code += Initializer(
            {row.outcome, row.way, row.condition, row.function, row.decidedBy, row.mustBe, row.logs, row.seenIn});
    }
    return code + "    }};\n}\n\n} // namespace why\n";
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("usage: embed-conditions FOLDER FILE\n", stderr);
        return EXIT_FAILURE;
    }
    try {
        const why::Tables tables = why::ReadTables(argv[1]);
        static_cast<void>(why::OutcomesOf(tables)); // throws
        std::ofstream file(argv[2]);
        file << AsCode(tables);
        file.flush();
        if (!file) {
            throw std::runtime_error(std::string(argv[2]) + " cannot be written");
        }
        return EXIT_SUCCESS;
    } catch (const std::exception& wrong) {
        std::fprintf(stderr, "%s\n", wrong.what());
        return EXIT_FAILURE;
    }
}
