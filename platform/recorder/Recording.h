#pragma once

#include "recorder/Functions.h"
#include "recorder/Sink.h"
#include "recorder/Writer.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The records of the service's life, put together on the main loop's thread and appended to the sink.
namespace recorder {

/// Begins to record, which a program does before it starts the service; Start() of Sink.h tells the rest.
bool BeginLife(const char* path, std::uint64_t limit, WhenFull whenFull = WhenFull::Loses);
/// The same where a sink was started already.
void TellLife();
/// The service has ended.
void EndLife(int status);

// A record is begun, its fields are written, and it is ended; nothing else is recorded in between.
Writer& BeginCall(Function function);
Writer& BeginReturn(Function function);
/// \param slot which function of the service is called, \param userData what it is handed
Writer& BeginInput(Callback type, std::size_t slot, const void* userData);
Writer& BeginEnters(Callback type, std::size_t slot, const void* userData);
Writer& BeginLeaves(Callback type);
Writer& BeginLog();
void End();

/// For what the service does that cannot be recorded. Told once for each text.
void TellLost(std::string_view what);

/// A path of the service as it knows it: without the folder under which the platform has it.
std::string_view OwnPath(const char* path);

} // namespace recorder
