#pragma once

// Lines logged as a utility logs them.

void LogFromUtility();
int TracedInUtility(); ///< \return the line of its tracer
