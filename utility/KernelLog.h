#pragma once

/// Writes one line, "[tag][function]message", to the kernel log, where it survives what the set does next. The line is
/// cut at 511 bytes. Where there is no kernel log nothing happens; a failed write is told on standard output.
/// \param tag      "VYREL" in every use
/// \param function bare name of the function that reports
/// \param format   printf-style, with its arguments
// NOLINTNEXTLINE(clang-diagnostic-reserved-identifier): the platform's engineers know it by this name.
[[gnu::format(printf, 3, 4)]] void __print_kernel_log(const char* tag, const char* function, const char* format, ...);
