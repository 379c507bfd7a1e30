// How long an operation waits for other processes, in all, whatever it waits for.
//
// SQLite asks its caller whether to go on waiting at some places only. At others it sleeps for up to 10 s on its own,
// as when the process that mends the write-ahead log's index is stopped in between. So the connections of the store use
// a file system of their own, which is SQLite's usual one but for the sleeping.
#pragma once

#include <cstdint>

namespace settings {

// From now on this thread waits that long at most. Never called, it does not wait.
void AllowWaiting(std::int64_t microseconds);

// Sleeps for a little of what is left, longer with each attempt. False, at once, when nothing is left.
bool WaitALittle(int attempt);

// The name of the file system to open connections with, null when there is no memory for it.
const char* FileSystemOfOurs();

} // namespace settings
