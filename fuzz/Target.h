// What each target offers. libFuzzer calls it with what it makes up, Kept.cpp with what lies in a folder.
#pragma once

#include <cstddef>
#include <cstdint>

// The names are libFuzzer's.

/// Once, before all inputs: it says what ends the program (Start.cpp).
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);

/// One input. Whatever it holds, the program goes on; what is found wrong ends it. Always 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Ends the program where something does not hold that no input may change.
/// \param what for who reads the report
void Expect(bool holds, const char* what);

} // namespace fuzz
