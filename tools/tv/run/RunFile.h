#pragma once

#include "tv/run/Run.h"

#include <filesystem>
#include <ios>
#include <string>
#include <string_view>
#include <utility>

namespace run {

/// Keeps a run in a file, line by line: first what kind of file it is, then one JSON object each, just as the
/// television tells them. What was written is safe when this process ends, however it ends; after Sync, also when the
/// machine does.
class Writer
{
public:
    /// Begins a file, in place of one that is there. Throws std::runtime_error with the reason when it cannot.
    explicit Writer(const std::filesystem::path& path);
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// Throws std::runtime_error with the reason, such as a full disk.
    /// \param object one JSON object without a line end
    void Write(std::string_view object);
    void Sync();

private:
    [[noreturn]] void Fail() const;

    std::filesystem::path m_path;
    int m_file;
};

/// Reads a run that is being written, as far as it has got each time.
class Follower
{
public:
    explicit Follower(std::filesystem::path path) : m_path(std::move(path)) {}

    /// \return what stays as it is until the next time. Throws std::runtime_error when the file cannot be read
    const Run& UpToNow();

private:
    std::filesystem::path m_path;
    std::streamoff m_read = 0; ///< bytes, up to the end of a line
    Run m_run;
};

/// The first line of a run's file, which says what it is.
std::string FirstLine();

/// Reads a run. One whose last line was cut off is read up to there, with a remark. Throws std::runtime_error, with a
/// text that names the file, for one that cannot be read, is of another kind or of a later version, or is damaged.
Run Read(const std::filesystem::path& path);

} // namespace run
