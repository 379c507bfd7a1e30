// A story that somebody wrote: a file of lines.

#include "tv/scenario/Scenario.h"

#include "MemoryFile.h"
#include "Target.h"

#include <cstddef>
#include <cstdint>
#include <span>

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static fuzz::MemoryFile file;
    file.Holds(std::as_bytes(std::span(data, size)));
    try {
        const scenario::Scenario scenario = scenario::Read(file.Path());
        fuzz::Expect(!scenario.steps.empty(), "a scenario has a step");
    } catch (const scenario::Unreadable&) {
        // It is said why.
    }
    return 0;
}
