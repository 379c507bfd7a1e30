#pragma once

#include <cstddef>
#include <cstdint>

/// What a recording is made of. A record is one byte that says its kind, and fields behind it:
///
/// | kind      | fields                                                                                             |
/// |-----------|----------------------------------------------------------------------------------------------------|
/// | LifeBegins| unsigned format, unsigned schema, text service, text zone, text root, signed wall                  |
/// | Call      | unsigned function, its arguments                                                                   |
/// | Return    | unsigned function, its result and, where the result says success, its outputs                      |
/// | Input     | unsigned instant, unsigned type, unsigned slot, unsigned since, its arguments                      |
/// | Enters    | unsigned type, unsigned slot, unsigned since, its arguments                                        |
/// | Leaves    | unsigned type, its result                                                                          |
/// | Log       | unsigned priority, text tag, text line                                                             |
/// | Lost      | text: what is not recorded from here on, and why                                                   |
/// | LifeEnds  | signed status of the service                                                                       |
///
/// What stands between the Call of a function and its Return happened while it was carried out, and what stands between
/// an Input or Enters and its Leaves is what the service did about it. An Input comes from outside, while the service
/// waits in its loop or lets time pass: a callback of the platform, a timer, a reply, a signal, the order to stop. The
/// instant is in microseconds since the life began; the wall clock is in microseconds of Unix time. The slot counts the
/// service's functions of that type from 0, a callback among arguments from 1; since says which of the times that the
/// function was given to the platform is meant: 1 for the latest, 2 for the one before it, 0 where that is not known.
///
/// Fields are written so (recorder/Writer.h, recorder/Reader.h):
/// - unsigned: seven bits a byte, the lowest first, the top bit says that more follow
/// - signed: as the unsigned number 2n, or -2n - 1 for a negative n
/// - text and bytes: unsigned length + 1, the bytes; 0 for none (a null pointer)
/// - record: 0 for none, or 1 and its fields
/// - variant: text of its type (none for none), bytes as GLib stores it in little-endian order
/// What function, type, argument, result and output there are is in the table of recorder/Schema.h.
namespace recorder {

enum class Kind : std::uint8_t
{
    LifeBegins = 1, ///< the first record of a life: a start of the service
    Call = 2,
    Return = 3,
    Input = 4,
    Enters = 5, ///< a callback during a call, such as one of a listing
    Leaves = 6,
    Log = 7,
    Lost = 8,
    LifeEnds = 9 ///< the service has ended by itself or on demand; missing where it was killed
};

/// The first field of LifeBegins. Another one cannot be read.
constexpr std::uint64_t kFormat = 1;

} // namespace recorder
