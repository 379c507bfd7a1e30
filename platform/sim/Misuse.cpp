#include "sim/Misuse.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace sim {

namespace {

std::string& Folder()
{
    static std::string folder;
    return folder;
}

} // namespace

void RemoveAtMisuse(const std::string& folder)
{
    Folder() = folder;
}

void Misuse(const std::string& what)
{
    std::fprintf(stderr, "simulated television: %s\n", what.c_str());
    if (!Folder().empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(Folder(), ignored);
    }
    std::abort();
}

} // namespace sim
