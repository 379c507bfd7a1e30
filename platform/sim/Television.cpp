#include "sim/Television.h"

#include "sim/Misuse.h"
#include "sim/Slot.h"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <system_error>
#include <vector>

namespace sim {

namespace {

Television* current = nullptr;

constexpr const char* kKernelLog = "/dev/kmsg";
constexpr std::string_view kKernelLineStart = "[VYREL][";

} // namespace

Television::Television(const std::filesystem::path& root)
    : queue(tape),
      power(*this),
      screen(*this),
      adapter(*this),
      devices(*this),
      audio(*this),
      smartRemote(*this),
      wheel(*this),
      settings(*this),
      disk(*this),
      m_root(MoveInto(root))
{
    current = this;
    for (const char* folder : {"/dev", "/etc", "/opt", "/run", "/tmp"}) {
        std::filesystem::create_directories(m_root + folder);
    }
    std::ofstream(PathOf(kKernelLog), std::ios::app).flush();
    m_kernelLogRead = std::filesystem::file_size(PathOf(kKernelLog));
    tape.SetSource([this] { PullKernelLog(); });
    settings.Open();
}

Television::~Television()
{
    ServiceHasStopped();
    queue.Clear();
    devices.CheckRecords();
    audio.CheckRecords();
    settings.Close();
    current = nullptr;
}

/// Looks first whether it may: a television that ends the process here must not leave a folder behind.
std::string Television::MoveInto(const std::filesystem::path& root)
{
    if (current != nullptr) {
        Misuse("there is a television already");
    }
    return root.empty() ? m_folder.emplace("television").Path() : root;
}

Television& Television::Current()
{
    if (current == nullptr) {
        Misuse("a platform function is called and there is no television");
    }
    return *current;
}

bool Television::IsOn()
{
    return current != nullptr;
}

void Television::ServiceHasStopped()
{
    for (SlotBase* slot : SlotBase::All()) {
        slot->Clear();
    }
    settings.ForgetsWatches();
}

std::filesystem::path Television::PathOf(std::string_view path) const
{
    return m_root + std::string(path);
}

// NOLINTNEXTLINE(readability-make-member-function-const): the television is changed, whose files they are.
void Television::MakesFile(std::string_view path, std::string_view contents)
{
    std::filesystem::create_directories(PathOf(path).parent_path());
    std::ofstream(PathOf(path), std::ios::trunc) << contents;
}

// NOLINTNEXTLINE(readability-make-member-function-const): the television is changed, whose files they are.
void Television::RemovesFile(std::string_view path)
{
    std::filesystem::remove_all(PathOf(path));
}

bool Television::HasFile(std::string_view path) const
{
    return std::filesystem::exists(PathOf(path));
}

std::string Television::ReadFile(std::string_view path) const
{
    std::ifstream file(PathOf(path));
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The service writes to the kernel log by itself. Before anything else is written on the tape, and before the tape is
/// read, what came since is taken over; so the order is kept. Lines have no end of their own: each begins with the tag.
void Television::PullKernelLog()
{
    std::error_code missing;
    const std::uintmax_t size = std::filesystem::file_size(PathOf(kKernelLog), missing);
    if (missing || size == m_kernelLogRead) {
        return;
    }
    std::ifstream log(PathOf(kKernelLog));
    log.seekg(static_cast<std::streamoff>(m_kernelLogRead)); // of a long life only the news is read
    const std::string news{std::istreambuf_iterator<char>(log), {}};
    m_kernelLogRead = size;
    std::size_t begin = 0;
    while (begin < news.size()) {
        const std::size_t end = std::min(news.find(kKernelLineStart, begin + 1), news.size());
        tape.RecordPulled({.kind = Kind::Kernel, .text = news.substr(begin, end - begin)});
        begin = end;
    }
}

} // namespace sim
