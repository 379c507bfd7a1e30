#pragma once

#include <sys/types.h>

#include <atomic>
#include <filesystem>
#include <string_view>

namespace support {

/// A fresh folder, removed with all that is in it when its owner goes. A fork of the process that made it leaves it
/// alone.
///
/// It is the only way to a temporary folder here: when there can be none it throws, because a path that is empty in its
/// place would lead to the real files of the machine.
class TempDir
{
public:
    /// \param name   what its name begins with; six random characters follow
    /// \param parent where it lies; empty for where TMPDIR says, else a RAM file system where there is one, else /tmp
    /// Throws std::system_error when it cannot be made.
    explicit TempDir(std::string_view name = "vyrel-test", const std::filesystem::path& parent = {});
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    [[nodiscard]] const std::filesystem::path& Path() const
    {
        return m_path;
    }

    /// From now on a signal that ends this process removes all of its folders first; it still ends it. Signals that are
    /// ignored or handled already stay so. For the start of a program.
    static void RemoveAllWhenKilled();

    /// Is told of each folder of each process that this one is, or forks: when it has been made, and when it has gone.
    using Listener = void (*)(const char* path, bool isThere);
    static void TellOfEach(Listener listener);

private:
    static void OnDeadlySignal(int signal);

    std::filesystem::path m_path;
    pid_t m_owner;
    TempDir* m_previous; ///< of all that live, for a signal handler, which may not allocate
    TempDir* m_next = nullptr;

    static std::atomic<TempDir*> s_latest;
    static Listener s_listener;
};

} // namespace support
