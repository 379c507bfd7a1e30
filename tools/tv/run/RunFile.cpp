#include "tv/run/RunFile.h"

#include "people/Json.h"
#include "tv/front/Object.h"
#include "tv/run/Objects.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace run {

namespace {

constexpr const char* kFormat = "vyrel-tv run";
constexpr std::int64_t kVersion = 1;
constexpr std::uint64_t kLargest = std::uint64_t{1} << 53U; // that a script can count to, of ids and microseconds

std::string Reason(int error)
{
    return std::generic_category().message(error);
}

[[noreturn]] void Refuse(const std::filesystem::path& path, const std::string& why)
{
    throw std::runtime_error(path.string() + " " + why);
}

std::string ReadAll(const std::filesystem::path& path)
{
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) {
        Refuse(path, "is a folder; a run is a file, which vyrel-tv writes with `save FILE`");
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string contents{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad()) {
        throw std::runtime_error("cannot read " + path.string() + ": " + Reason(errno != 0 ? errno : EIO));
    }
    return contents;
}

void CheckFirstLine(const std::filesystem::path& path, std::string_view line)
{
    const front::Object first = front::Object::Parse(line);
    if (first.Text("format") != kFormat) {
        Refuse(path, "is no run of vyrel-tv: its first line does not say so");
    }
    const std::int64_t version = first.Number("version");
    if (version > kVersion) {
        Refuse(path, "was written by a later vyrel-tv: its version is " + std::to_string(version) +
                         ", this one reads versions up to " + std::to_string(kVersion));
    }
    if (version < 1) {
        Refuse(path, "is damaged: its first line names no version");
    }
}

/// Takes lines off a text, also the one at its end that has no line end.
class Lines
{
public:
    explicit Lines(std::string_view text) : m_rest(text) {}

    std::optional<std::string_view> Next()
    {
        if (m_rest.empty()) {
            return std::nullopt;
        }
        const std::size_t end = m_rest.find('\n');
        const std::string_view line = m_rest.substr(0, end);
        m_isWhole = end != std::string_view::npos;
        m_rest.remove_prefix(m_isWhole ? end + 1 : m_rest.size());
        ++m_number;
        return line;
    }
    [[nodiscard]] bool IsWhole() const
    {
        return m_isWhole;
    }
    [[nodiscard]] int Number() const
    {
        return m_number;
    }

private:
    std::string_view m_rest;
    int m_number = 0;
    bool m_isWhole = true;
};

void Add(Run& run, const front::Object& object)
{
    if (object.Number("id") > 0) {
        run.entries.push_back(EntryOf(object));
    } else if (const front::Object message = object.Member("message")) {
        run.messages.push_back(MessageOf(message));
    }
}

void PutInOrder(const std::filesystem::path& path, Run& run)
{
    std::ranges::stable_sort(run.entries, {}, &Entry::id);
    std::ranges::stable_sort(run.messages, {}, &Message::at);
    const auto twice = std::ranges::adjacent_find(run.entries, {}, &Entry::id);
    if (twice != run.entries.end()) {
        Refuse(path, "is damaged: two entries have the id " + std::to_string(twice->id));
    }
    for (const Entry& entry : run.entries) {
        if (entry.id > kLargest || static_cast<std::uint64_t>(entry.at) > kLargest) {
            Refuse(path, "is damaged: the entry " + std::to_string(entry.id) + " has a number that is too large");
        }
        if (entry.cause >= entry.id) {
            Refuse(path, "is damaged: the entry " + std::to_string(entry.id) + " has a cause that came later");
        }
    }
}

} // namespace

std::string FirstLine()
{
    return people::json::Object({{"format", people::json::Text(kFormat)}, {"version", std::to_string(kVersion)}});
}

Writer::Writer(const std::filesystem::path& path)
    : m_path(path),
      m_file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666))
{
    if (m_file < 0) {
        Fail();
    }
    try {
        Write(FirstLine());
    } catch (...) {
        ::close(m_file);
        throw;
    }
}

Writer::~Writer()
{
    ::close(m_file);
}

void Writer::Fail() const
{
    throw std::runtime_error("cannot write " + m_path.string() + ": " + Reason(errno));
}

void Writer::Write(std::string_view object)
{
    std::string line(object);
    line += '\n';
    std::string_view rest = line;
    while (!rest.empty()) {
        const ssize_t written = ::write(m_file, rest.data(), rest.size());
        if (written >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            Fail();
        }
    }
}

void Writer::Sync()
{
    // A pipe or a terminal has nothing to sync.
    if (::fdatasync(m_file) != 0 && errno != EINVAL && errno != EROFS) {
        Fail();
    }
}

const Run& Follower::UpToNow()
{
    std::ifstream file(m_path, std::ios::binary);
    file.seekg(m_read);
    if (!file) {
        throw std::runtime_error("cannot read " + m_path.string());
    }
    for (std::string line; std::getline(file, line) && !file.eof();) {
        m_read += static_cast<std::streamoff>(line.size()) + 1;
        if (const front::Object object = front::Object::Parse(line); object.Number("id") > 0) {
            m_run.entries.push_back(EntryOf(object));
        }
    }
    std::ranges::stable_sort(m_run.entries, {}, &Entry::id);
    return m_run;
}

Run Read(const std::filesystem::path& path)
{
    const std::string contents = ReadAll(path);
    Lines lines(contents);
    const std::optional<std::string_view> first = lines.Next();
    if (!first) {
        Refuse(path, "is empty: no run of vyrel-tv");
    }
    CheckFirstLine(path, *first);
    Run run;
    while (const std::optional<std::string_view> line = lines.Next()) {
        const front::Object object = front::Object::Parse(*line);
        if (object) {
            Add(run, object);
        } else if (!lines.IsWhole()) {
            run.remarks.push_back(path.string() + " is cut off in line " + std::to_string(lines.Number()) +
                                  ": what came before it is there");
        } else {
            Refuse(path, "is damaged: line " + std::to_string(lines.Number()) + " is no JSON object");
        }
    }
    PutInOrder(path, run);
    return run;
}

} // namespace run
