#pragma once

#include <glib.h>

#include <cstddef>
#include <string>

namespace recorder {

/// The same value as it lies in a recording, in little-endian order, or back from there; on most machines nothing
/// changes. \return a reference of the caller's
GVariant* InOrderOfRecordings(GVariant* body);

/// A value of the bus that lay in a recording.
/// \return a reference of the caller's, or null where there is no such type; bytes that are not of the type give the
///         type's default
GVariant* BodyOf(const std::string& type, const void* bytes, std::size_t size);

} // namespace recorder
