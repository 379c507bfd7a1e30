#include "recorder/Limit.h"

#include "recorder/Sink.h"

#include <charconv>
#include <cstdio>
#include <string_view>
#include <system_error>

namespace recorder {

std::uint64_t LimitOf(const char* text)
{
    if (text == nullptr) {
        return kUsualLimit;
    }
    constexpr std::uint64_t kMebibyte = 1024ULL * 1024;
    constexpr std::uint64_t kMost = 4096;
    std::uint64_t mebibytes = 0;
    const std::string_view given(text);
    const auto [end, failure] = std::from_chars(given.data(), given.data() + given.size(), mebibytes);
    if (failure != std::errc() || end != given.data() + given.size() || mebibytes < 1 || mebibytes > kMost) {
        std::fprintf(stderr,
                     "vyrel-recorder: VYREL_RECORDING_LIMIT is \"%s\", and should be a number of MiB from 1 to %llu: "
                     "%llu are taken\n",
                     text, static_cast<unsigned long long>(kMost),
                     static_cast<unsigned long long>(kUsualLimit / kMebibyte));
        return kUsualLimit;
    }
    return mebibytes * kMebibyte;
}

} // namespace recorder
