#pragma once

/// The answer of a function that this box cannot do, which its log says once for each function.
/// \param function its name, static
/// \param why one clause, such as "no audio server answers"
/// \return -95
int NotSupported(const char* function, const char* why);
