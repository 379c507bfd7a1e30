// The bell of one file of settings: an empty file, touched after each commit, on which the watchers sit with inotify.
// Touching needs no room on the disk and rings also when nothing else changed.
#pragma once

#include "FileDescriptor.h"

#include <string>
#include <utility>

namespace settings {

class Bell
{
public:
    explicit Bell(std::string path) : m_path(std::move(path)) {}

    // Makes the file and its folder. False, reported on standard error once, when that cannot be.
    bool Open();

    // Tells every watcher that there is something to read. Without a bell the write holds all the same.
    void Ring();

    const std::string& Path() const
    {
        return m_path;
    }

private:
    void Report(const std::string& reason);

    std::string m_path;
    FileDescriptor m_file;
    bool m_reported = false;
};

} // namespace settings
