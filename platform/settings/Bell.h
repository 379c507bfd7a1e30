// The bell of one file of settings: a file that is touched after each commit, on which the watchers sit with inotify.
// Touching needs no room on the disk and rings also when nothing else changed. In the file lies the last write
// (LastWrite.h), or nothing that can be used where there is no room for it.
#pragma once

#include "FileDescriptor.h"
#include "LastWrite.h"
#include "Rights.h"

#include <string>
#include <string_view>
#include <utility>

namespace settings {

class Bell
{
public:
    explicit Bell(std::string path) : m_path(std::move(path)) {}

    // Makes the file and its folder. False, reported on standard error once, when that cannot be.
    bool Open();

    // Makes the file and looks whether it is for the same people as what has these rights: nobody else is to see a
    // write.
    bool IsFor(const Rights& rights);

    // Tells every watcher that there is something to read, and leaves them the packed write, where there is one.
    // Without a bell the write holds all the same.
    void Ring(std::string_view lastWrite = {});

    // Has LastWrite find something. For those who hear the bell.
    void OpenToRead();

    // What was left by the last writer, in `buffer`: as long as it may be, whatever it is. Empty when nothing was.
    std::string_view LastWrite(LastWriteBuffer& buffer) const;

    const std::string& Path() const
    {
        return m_path;
    }

private:
    void Report(const std::string& reason);

    std::string m_path;
    FileDescriptor m_file;
    FileDescriptor m_reading;
    Rights m_rights;
    bool m_reported = false;
};

} // namespace settings
