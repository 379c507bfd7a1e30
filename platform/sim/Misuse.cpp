#include "sim/Misuse.h"

#include <cstdio>
#include <cstdlib>

namespace sim {

void Misuse(const std::string& what)
{
    std::fprintf(stderr, "simulated television: %s\n", what.c_str());
    std::abort();
}

} // namespace sim
