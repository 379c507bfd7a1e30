#pragma once

#include <cstddef>

/// The memory that the service asks for by `new`, on the main thread; the television around it has all that it needs.
/// What GLib asks for is not counted: GLib ends the process where there is none.
namespace failures {

/// From now on such requests are counted. \param failing which of them finds no memory, from 1; 0 for none
void CountMemory(int failing);
/// \return how many there were since
int StopCountingMemory();
/// The size of the request that failed; 0 while none did.
std::size_t MemoryRefused();

} // namespace failures
