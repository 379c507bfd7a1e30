#include "tv/recording/RecordingFile.h"

#include "recorder/Blocks.h"
#include "settings/FileDescriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace recording {

namespace {

[[noreturn]] void Fail(const std::filesystem::path& path, int error)
{
    throw std::runtime_error(path.string() + " cannot be written: " + std::strerror(error));
}

void AddGap(recorder::Blocks& blocks, const Gap& gap)
{
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
    for (std::uint64_t left = gap.count; left > 0;) {
        const std::uint64_t count = std::min(left, kMost);
        blocks.AddLost(static_cast<std::uint32_t>(count));
        left -= count;
    }
}

} // namespace

void Write(const Recording& recording, const std::filesystem::path& path)
{
    constexpr int kForItsOwner = 0600;
    const settings::FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kForItsOwner));
    if (!file.IsOpen()) {
        Fail(path, errno);
    }
    constexpr std::uint64_t kNoLimit = std::uint64_t{1} << 40U;
    const auto blocks = std::make_unique<recorder::Blocks>(kNoLimit);
    blocks->Begin(file.Get(), 1);
    auto gap = recording.gaps.begin();
    for (std::size_t index = 0; index <= recording.records.size(); ++index) {
        for (; gap != recording.gaps.end() && gap->before == index; ++gap) {
            AddGap(*blocks, *gap);
        }
        if (index < recording.records.size()) {
            blocks->Add(recording.records[index], {});
        }
        if (blocks->Failure() != 0) {
            break;
        }
    }
    blocks->Write();
    if (blocks->Failure() != 0) {
        ::unlink(path.c_str());
        Fail(path, blocks->Failure());
    }
}

} // namespace recording
