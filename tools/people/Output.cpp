#include "people/Output.h"

#include "people/Failure.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <system_error>

namespace people {

void Print(const std::string& text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0) {
        return;
    }
    const int error = errno;
    if (error == EPIPE) {
        throw ReaderGone();
    }
    throw Failure(kFailure, "cannot write the output: " + std::generic_category().message(error));
}

int RunProgram(const char* name, const std::function<int()>& body)
{
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return body();
    } catch (const ReaderGone&) {
        return kDone;
    } catch (const Failure& failure) {
        std::fprintf(stderr, "%s: %s\n", name, failure.what());
        return failure.Status();
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "%s: %s\n", name, exception.what());
        return kFailure;
    }
}

} // namespace people
