#pragma once

// Lines logged as a component of the service logs them.

void LogFromService();
int TracedInService(int number); ///< \return the line of its tracer
void TracedAndThrows();
