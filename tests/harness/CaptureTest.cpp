// What a test says to a standard stream, without a file that somebody would have to remove.

#include "support/Capture.h"

#include "support/Child.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <stdexcept>
#include <string>

using support::CaptureStderr;
using support::CaptureStdout;
using support::GetCapturedStderr;
using support::GetCapturedStdout;

namespace {

/// A path under /proc that says what stands behind a stream.
std::string BehindStream(int stream)
{
    std::string name(200, '\0');
    const ssize_t length = ::readlink(("/proc/self/fd/" + std::to_string(stream)).c_str(), name.data(), name.size());
    name.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return name;
}

} // namespace

TEST(Capture, HasWhatIsWrittenInItsOrder)
{
    CaptureStdout();
    std::fputs("first, ", stdout);
    std::fflush(stdout);
    EXPECT_EQ(::write(STDOUT_FILENO, "then, ", 6), 6);
    std::fputs("last", stdout);
    EXPECT_EQ(GetCapturedStdout(), "first, then, last");
}

TEST(Capture, HasAlsoWhatAChildWrites)
{
    CaptureStderr();
    support::Child child = support::Child::Fork([] { return ::write(STDERR_FILENO, "child", 5) == 5 ? 0 : 1; });
    EXPECT_EQ(child.Wait(), support::Exited(0));
    EXPECT_EQ(GetCapturedStderr(), "child");
}

TEST(Capture, HasMuch)
{
    const std::string much(1'000'000, 'x');
    CaptureStderr();
    std::fputs(much.c_str(), stderr);
    EXPECT_EQ(GetCapturedStderr(), much);
}

TEST(Capture, OfOneStreamLeavesTheOtherAlone)
{
    const std::string before = BehindStream(STDERR_FILENO);
    CaptureStdout();
    EXPECT_EQ(BehindStream(STDERR_FILENO), before);
    EXPECT_EQ(GetCapturedStdout(), "");
}

TEST(Capture, IsOfNoFileAndEndsWhereItBegan)
{
    const std::string before = BehindStream(STDERR_FILENO);
    CaptureStderr();
    EXPECT_EQ(BehindStream(STDERR_FILENO), "/memfd:captured (deleted)");
    EXPECT_EQ(GetCapturedStderr(), "");
    EXPECT_EQ(BehindStream(STDERR_FILENO), before);
}

TEST(Capture, ThatHasNotBegunHasNoEnd)
{
    EXPECT_THROW(GetCapturedStderr(), std::logic_error);
    CaptureStderr();
    GetCapturedStderr();
    EXPECT_THROW(GetCapturedStderr(), std::logic_error);
}
