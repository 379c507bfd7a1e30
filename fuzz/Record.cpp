// One record of a recording: taken apart, put together, said in words.

#include "Target.h"
#include "recorder/Decoded.h"
#include "recorder/InWords.h"
#include "recorder/Reader.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try {
        const recorder::Decoded decoded = recorder::Decode(std::as_bytes(std::span(data, size)));
        recorder::InWords(decoded);
        fuzz::Expect(recorder::Decode(recorder::Encode(decoded)) == decoded, "a record comes back as it was");
    } catch (const recorder::Malformed&) {
        // No record of ours.
    }
    return 0;
}
