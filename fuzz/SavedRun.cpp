// What happened on the television, from a file that it wrote once: read, and shown to people.

#include "MemoryFile.h"
#include "Target.h"
#include "tv/run/Run.h"
#include "tv/run/RunFile.h"
#include "tv/timeline/Formats.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static fuzz::MemoryFile file;
    file.Holds(std::as_bytes(std::span(data, size)));
    try {
        run::Follower(file.Path()).UpToNow();
    } catch (const std::runtime_error&) {
        // As below.
    }
    try {
        const run::Run run = run::Read(file.Path());
        timeline::Page(run);
        timeline::Picture(run);
        timeline::Trace(run);
        timeline::Packets(run);
    } catch (const std::runtime_error&) {
        // It is said what is wrong with the file.
    }
    return 0;
}
