#pragma once

#include <functional>
#include <string>

namespace people {

/// Whoever read the output has gone, and with it the need for more.
struct ReaderGone
{};

/// Writes to standard output at once. Throws Failure where that cannot be done, ReaderGone where nobody reads.
void Print(const std::string& text);

/// Runs a program: says on standard error why it cannot go on, and gives its exit status.
int RunProgram(const char* name, const std::function<int()>& body);

} // namespace people
