#pragma once

#include "settings/FileDescriptor.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace recorder {

/// The files of the latest lives: FILE is that of the present one, FILE.1 that of the one before, and so on. Together
/// the older ones may be so large; the oldest go first. What is no recording is never touched.
class Lives
{
public:
    /// What cannot be done with which file, and why.
    struct Trouble
    {
        const char* path = nullptr; ///< null for none
        const char* what = nullptr;
        int error = 0; ///< as in errno; 0 where there is no more to say
    };

    /// \param limit bytes of all older lives
    Lives(const std::string& path, std::uint64_t limit);

    /// Makes room for a new life and begins its file, which is locked as long as somebody writes to it. Waits, for some
    /// seconds, for a writer that has not finished. Allocates nothing.
    Trouble Begin(settings::FileDescriptor& file) const;

    static constexpr std::size_t kOlder = 9;

private:
    Trouble Lock(settings::FileDescriptor& file) const;
    Trouble Rotate() const;

    std::array<std::string, kOlder + 1> m_paths; ///< the present life's first
    std::uint64_t m_limit;
};

} // namespace recorder
