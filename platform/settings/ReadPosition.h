// How far each watching process has read a log, so that a writer removes only what every watcher has seen.
//
// A watcher keeps a small file with its position, under a lock that the kernel releases when the watcher ends, however
// it ends. Writers look at these files while nobody can write to the log, and remove those that nobody holds.
//
// No notice is lost to a writer that cleans up: a watcher makes its file first, which says "keep everything", and only
// then looks where the log ends. A writer that did not see the file removes rows that were there before the watcher
// looked, which the watcher does not ask for. A watcher that stands still (stopped in a debugger) holds up the
// cleaning until it goes on or ends.
#pragma once

#include "FileDescriptor.h"

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <utility>

namespace settings {

class ReadPosition
{
public:
    // The watchers' files of one log are those in `folder` whose names begin with `name` and a hyphen.
    ReadPosition(std::string folder, std::string name) : m_folder(std::move(folder)), m_name(std::move(name)) {}
    ~ReadPosition();
    ReadPosition(const ReadPosition&) = delete;
    ReadPosition& operator=(const ReadPosition&) = delete;

    // Makes this process known, at position 0. False when that cannot be.
    bool Announce();

    // Tells that everything up to `id` was read. Not every call reaches the file: the position there may lag by
    // kLag, and is never ahead. An `id` lower than before is that of a file that replaced the one read until then.
    void MoveTo(std::int64_t id);

    // The lowest position of all that live, INT64_MAX when there is none.
    std::int64_t Lowest() const;

    static constexpr std::int64_t kLag = 256;

private:
    std::string m_folder;
    std::string m_name;
    std::string m_path;
    FileDescriptor m_file;
    pid_t m_owner = 0;
    std::int64_t m_published = 0;
};

} // namespace settings
