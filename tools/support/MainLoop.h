#pragma once

#include <chrono>
#include <functional>

namespace support {

/// Longer than anything a test waits for; a test that reaches it fails.
inline constexpr std::chrono::milliseconds kDeadline = std::chrono::seconds(10);

/// Runs the default main context until \p isDone says so or the deadline, in real time, has passed.
/// \return what \p isDone said last
bool IterateUntil(const std::function<bool()>& isDone, std::chrono::milliseconds deadline = kDeadline);

/// Dispatches what is ready in the default main context, and what that makes ready, without waiting.
/// \return whether there was anything
bool DrainMainLoop();

} // namespace support
