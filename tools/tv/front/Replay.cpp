#include "tv/front/Replay.h"

#include "support/Child.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace front {

namespace {

constexpr int kCannotBeTold = 3;

int ReplayOne(const std::string& file)
{
    const support::ProcessEnd end = support::Child::Spawn({VYREL_REPLAY, file}).Wait();
    if (end.how == support::ProcessEnd::How::Exited) {
        return end.number;
    }
    std::fprintf(stderr, "vyrel-tv: %s: the service was ended by SIG%s while it was replayed\n", file.c_str(),
                 ::sigabbrev_np(end.number));
    return EXIT_FAILURE;
}

} // namespace

int Replay(const std::vector<std::string>& files)
{
    int status = EXIT_SUCCESS;
    for (const std::string& file : files) {
        try {
            status = std::max(status, ReplayOne(file));
        } catch (const std::system_error& error) {
            std::fprintf(stderr, "vyrel-tv: %s: cannot be replayed: %s\n", file.c_str(), error.what());
            status = kCannotBeTold;
        }
    }
    return status;
}

} // namespace front
