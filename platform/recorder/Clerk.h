#pragma once

#include "recorder/Blocks.h"
#include "recorder/Lives.h"
#include "recorder/Ring.h"
#include "settings/FileDescriptor.h"

#include <cstdint>
#include <string>

namespace recorder {

/// The process that brings the records from the ring to the disk. It is nobody's child, so nobody has to wait for it or
/// can do so by mistake, and it is sent no signal; it ends when its service does, however that happens, after all that
/// lay in the ring has been written. It keeps nothing open but the file, its socket and the standard error.
class Clerk
{
public:
    /// \param path   of the file of the present life
    /// \param limit  bytes of all files together
    /// \param socket the end that is the clerk's: a byte wakes it, the end of the other side ends it
    /// Takes all memory that it will need. Throws std::bad_alloc.
    Clerk(Ring& ring, const std::string& path, std::uint64_t limit, settings::FileDescriptor socket);
    Clerk(const Clerk&) = delete;
    Clerk& operator=(const Clerk&) = delete;

    /// Starts the process. \return 0, or why there is none, as in errno
    int Start();

    static constexpr std::uint64_t kLeastLimit = 2 * Blocks::kLeastLimit;

private:
    void Work();
    bool Begin();
    void Drain();
    void Write();
    [[nodiscard]] int TimeLeft() const;
    bool Sleep();
    void Tell(const char* path, const char* what, int error) const;

    Ring& m_ring;
    Lives m_lives;
    Blocks m_blocks;
    std::string m_path;
    settings::FileDescriptor m_socket;
    settings::FileDescriptor m_service; ///< its end can be waited for on this
    settings::FileDescriptor m_file;
    std::int64_t m_writeAt = -1; ///< milliseconds on the clock; negative for never
    std::int64_t m_syncAt = -1;
    bool m_hasToldFailure = false;
};

} // namespace recorder
