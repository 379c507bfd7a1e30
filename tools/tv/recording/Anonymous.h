#pragma once

#include "tv/recording/Recording.h"

namespace recording {

/// A recording without addresses, names and identities: each is replaced by another of the same length and kind, the
/// same wherever it stands, also in what the service made of it (lines of the log, messages, settings, files). So it is
/// replayed as the one that it was made of. What stays of an address is its first half, which says who made the device,
/// and the order among addresses. Records of another version of the platform's functions cannot be understood; from
/// such a record on nothing is kept, and a remark says so.
Recording Anonymous(Recording recording);

} // namespace recording
