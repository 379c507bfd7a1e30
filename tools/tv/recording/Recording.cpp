#include "tv/recording/Recording.h"

#include "recorder/FileFormat.h"
#include "settings/FileDescriptor.h"
#include "tv/recording/Blocks.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <iterator>
#include <optional>
#include <span>
#include <thread>
#include <utility>

namespace recording {

namespace {

using settings::FileDescriptor;
using Bytes = std::span<const std::byte>;

[[noreturn]] void Refuse(const std::filesystem::path& path, const std::string& why)
{
    throw Unreadable(path.string() + " " + why);
}

std::string Records(std::uint64_t count)
{
    return count == 1 ? "1 record" : std::to_string(count) + " records";
}

std::string Reason(int error)
{
    return std::strerror(error);
}

std::vector<std::byte> ReadFile(const std::filesystem::path& path)
{
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status = {};
    if (!file.IsOpen() || ::fstat(file.Get(), &status) != 0) {
        Refuse(path, "cannot be read: " + Reason(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        Refuse(path, S_ISDIR(status.st_mode) ? "is a folder; name the recording in it" : "is no file");
    }
    std::vector<std::byte> contents(static_cast<std::size_t>(status.st_size));
    std::size_t size = 0;
    while (size < contents.size()) {
        const ssize_t length = ::read(file.Get(), contents.data() + size, contents.size() - size);
        if (length == 0) {
            break;
        }
        if (length < 0 && errno != EINTR) {
            Refuse(path, "cannot be read: " + Reason(errno));
        }
        size += static_cast<std::size_t>(std::max<ssize_t>(length, 0));
    }
    contents.resize(size);
    return contents;
}

/// Takes the frames of a block one after the other.
class Frames
{
public:
    struct Frame
    {
        Bytes bytes;
        bool continues = false;
        std::uint64_t lost = 0; ///< no record, but so many that are missing
    };

    explicit Frames(Bytes bytes) : m_rest(bytes) {}

    /// \return nothing at the end, and where the rest makes no sense
    std::optional<Frame> Next()
    {
        const std::optional<std::uint64_t> number = Number();
        if (!number) {
            return std::nullopt;
        }
        if (*number == 1) {
            const std::optional<std::uint64_t> lost = Number();
            return lost ? std::optional<Frame>({{}, false, *lost}) : std::nullopt;
        }
        if (*number / 2 > m_rest.size()) {
            return std::nullopt;
        }
        const Bytes bytes = m_rest.first(*number / 2);
        m_rest = m_rest.subspan(bytes.size());
        return Frame{bytes, *number % 2 == 1, 0};
    }

private:
    std::optional<std::uint64_t> Number()
    {
        constexpr unsigned int kBits = 64;
        std::uint64_t number = 0;
        for (unsigned int shift = 0; shift < kBits && !m_rest.empty(); shift += 7) {
            const auto byte = static_cast<std::uint8_t>(m_rest.front());
            m_rest = m_rest.subspan(1);
            number |= static_cast<std::uint64_t>(byte & 0x7FU) << shift;
            if ((byte & 0x80U) == 0) {
                return number;
            }
        }
        return std::nullopt;
    }

    Bytes m_rest;
};

/// Puts records together from the blocks, and finds what is missing between them.
class Joiner
{
public:
    explicit Joiner(Recording& recording) : m_recording(recording) {}

    void Take(const Block& block)
    {
        const bool isOverwritten =
            m_lastBlock && *m_lastBlock + 1 == block.header.kept && block.header.number > block.header.kept;
        m_lastBlock = block.header.number;
        const bool continues = block.header.continues != 0;
        const bool fits = block.header.first == m_next && block.header.continues == m_pieces;
        bool skips = false;
        if (!fits) {
            // A part without its beginning is of no use, nor is a beginning without the rest.
            m_part.clear();
            m_pieces = 0;
            skips = continues;
            const std::uint64_t next = block.header.first + (continues ? 1 : 0);
            Misses(next > m_next ? next - m_next : 0,
                   isOverwritten ? "the file is bounded, and the middle of a long life is not kept"
                                 : "they could not be written, or what was written is damaged");
            m_next = next;
        }
        Frames frames(block.frames);
        while (const std::optional<Frames::Frame> frame = frames.Next()) {
            if (skips) {
                skips = frame->continues;
            } else {
                Take(*frame);
            }
        }
    }

    void End()
    {
        if (m_pieces > 0) {
            Misses(1, "its end was not written");
        }
    }

private:
    void Take(const Frames::Frame& frame)
    {
        if (frame.lost > 0) {
            Misses(frame.lost, "the disk did not take them in time");
            m_next += frame.lost;
            return;
        }
        m_part.insert(m_part.end(), frame.bytes.begin(), frame.bytes.end());
        if (frame.continues) {
            ++m_pieces;
        } else {
            m_recording.records.push_back(std::exchange(m_part, {}));
            m_pieces = 0;
            ++m_next;
        }
    }

    void Misses(std::uint64_t count, const char* why)
    {
        m_recording.gaps.push_back({m_recording.records.size(), count, why});
        m_recording.remarks.push_back(Records(count) + (count == 1 ? " is" : " are") + " missing behind the first " +
                                      std::to_string(m_recording.records.size()) + ": " + why);
    }

    Recording& m_recording;
    std::uint64_t m_next = 0;   ///< the number of the record that comes next
    Record m_part;              ///< of one that goes on in the next block
    std::uint32_t m_pieces = 0; ///< that it has so far
    std::optional<std::uint64_t> m_lastBlock;
};

} // namespace

Recording Read(const std::filesystem::path& path)
{
    const std::vector<std::byte> bytes = ReadFile(path);
    if (bytes.empty()) {
        Refuse(path, "is empty: nothing was recorded; the recorder says why on its standard error");
    }
    const FileContents file = ReadBlocks(bytes);
    if (file.blocks.empty() && file.hasOtherVersion) {
        Refuse(path, "is a recording of version " + std::to_string(file.otherVersion) +
                         ", and this program reads version " + std::to_string(recorder::kFileVersion) +
                         ": take the vyrel-tv that belongs to its service");
    }
    if (file.blocks.empty()) {
        Refuse(path, recorder::HasMagic(bytes) ? "is a recording of which nothing can be read: its blocks are damaged"
                                               : "is no recording of the service");
    }
    Recording recording;
    Joiner joiner(recording);
    for (const Block& block : file.blocks) {
        joiner.Take(block);
    }
    joiner.End();
    if (file.damaged > 0) {
        recording.remarks.push_back(std::to_string(file.damaged) + " of its blocks are damaged and left out");
    }
    if (file.isCutOff) {
        recording.hasEnd = false;
        recording.remarks.emplace_back("its end is cut off: what came before it is there");
    }
    return recording;
}

std::string Objection(const std::filesystem::path& path)
{
    const FileDescriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW));
    if (!file.IsOpen()) {
        const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
        const bool canBeMade = errno == ENOENT && ::access(folder.c_str(), W_OK | X_OK) == 0;
        return canBeMade ? "" : "nothing can be recorded in " + path.string() + ": " + Reason(errno);
    }
    struct stat status = {};
    std::array<std::byte, recorder::kMagic.size()> begin = {};
    const bool isFile = ::fstat(file.Get(), &status) == 0 && S_ISREG(status.st_mode);
    const ssize_t length = isFile ? ::pread(file.Get(), begin.data(), begin.size(), 0) : -1;
    return length == 0 || (length > 0 && recorder::HasMagic(begin))
               ? ""
               : path.string() + " is there and is no recording: take another name, or remove it";
}

bool WaitUntilWritten(const std::filesystem::path& path)
{
    constexpr auto kPatience = std::chrono::seconds(10);
    constexpr auto kOften = std::chrono::milliseconds(5);
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (file.IsOpen() && ::flock(file.Get(), LOCK_SH | LOCK_NB) != 0) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(kOften);
    }
    return true;
}

} // namespace recording
