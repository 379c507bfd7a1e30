// What the environment says of a recording's size.

#include "recorder/Limit.h"

#include "recorder/Sink.h"
#include "support/Capture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

constexpr std::uint64_t kMebibyte = 1024ULL * 1024;

struct Limit
{
    std::uint64_t bytes;
    std::string said;

    bool operator==(const Limit&) const = default;
};

Limit LimitOf(const char* text)
{
    support::CaptureStderr();
    const std::uint64_t bytes = recorder::LimitOf(text);
    return {bytes, support::GetCapturedStderr()};
}

TEST(RecordingLimit, WithoutAnyItIsTheUsualOne)
{
    EXPECT_EQ(LimitOf(nullptr), (Limit{recorder::kUsualLimit, ""}));
    EXPECT_EQ(recorder::kUsualLimit, 8 * kMebibyte);
}

TEST(RecordingLimit, IsANumberOfMebibytesFrom1To4096)
{
    EXPECT_EQ(LimitOf("1"), (Limit{kMebibyte, ""}));
    EXPECT_EQ(LimitOf("2"), (Limit{2 * kMebibyte, ""}));
    EXPECT_EQ(LimitOf("4095"), (Limit{4095 * kMebibyte, ""}));
    EXPECT_EQ(LimitOf("4096"), (Limit{4096 * kMebibyte, ""}));
    EXPECT_EQ(LimitOf("0008"), (Limit{8 * kMebibyte, ""}));
}

class NoRecordingLimit : public ::testing::TestWithParam<const char*>
{};

TEST_P(NoRecordingLimit, IsSaidInOneLineAndTheUsualOneTaken)
{
    const std::string text = GetParam();
    EXPECT_EQ(LimitOf(text.c_str()),
              (Limit{recorder::kUsualLimit, "vyrel-recorder: VYREL_RECORDING_LIMIT is \"" + text +
                                                "\", and should be a number of MiB from 1 to 4096: 8 are taken\n"}));
}

// The last number is 2 to the power of 64, and 16.
INSTANTIATE_TEST_SUITE_P(RecordingLimit, NoRecordingLimit,
                         ::testing::Values("", "0", "4097", "-1", "+8", " 8", "8 ", "8M", "8.5", "0x8", "eight",
                                           "18446744073709551632"));

} // namespace
