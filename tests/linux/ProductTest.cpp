// The whole product on a box that has next to nothing: no Bluetooth daemon, no logind, no sound server, no remote.

#include "support/Child.h"
#include "support/ChildProcess.h"
#include "support/PrivateBus.h"
#include "support/RealTime.h"
#include "support/Siblings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string>

extern "C" int service_main();

namespace {

using support::ChildProcess;
using ::testing::HasSubstr;
using ::testing::Not;

// Much of what the service starts with fails there, and it waits and tries again.
constexpr auto kStart = std::chrono::seconds(60);

/// Without a journal its log comes out of the standard error.
int Service()
{
    if (dup2(STDOUT_FILENO, STDERR_FILENO) < 0) {
        throw std::runtime_error("no standard error");
    }
    return service_main();
}

TEST(ProductTest, RunsOnABareBoxUntilItIsTerminated)
{
    const support::PrivateBus bus;
    ChildProcess service(Service);
    ASSERT_TRUE(service.WaitForOutput("run main loop of vyrel-lite", kStart)) << service.Output();
    service.Send(SIGTERM);
    EXPECT_EQ(service.WaitForEnd(kStart), support::Exited(1));
    EXPECT_THAT(service.Output(), HasSubstr("exit vyrel-lite"));
    EXPECT_THAT(service.Output(), Not(HasSubstr("CRITICAL")));
}

/// \return whether it serves what comes by the bus: then the bus has answered all that the start asked of it
bool IsListening(ChildProcess& service)
{
    support::KeyRouter router;
    const auto deadline = support::RealTime::Now() + kStart;
    while (support::RealTime::Now() < deadline) {
        router.ReportsCombination(50);
        if (service.WaitForOutput("KEY_COMBINATION Signal NOT for VYREL", std::chrono::milliseconds(100))) {
            return true;
        }
    }
    return false;
}

TEST(ProductTest, EndsInOrderWithTheBus)
{
    support::PrivateBus bus;
    ChildProcess service(Service);
    ASSERT_TRUE(IsListening(service)) << service.Output();
    bus.Dies();
    EXPECT_EQ(service.WaitForEnd(kStart), support::Exited(1));
    EXPECT_THAT(service.Output(), HasSubstr("exit vyrel-lite"));
    EXPECT_THAT(service.Output(), Not(HasSubstr("CRITICAL")));
}

} // namespace
