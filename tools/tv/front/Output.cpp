#include "tv/front/Output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <optional>
#include <stdexcept>

namespace front {

namespace {

bool IsSet(const char* variable)
{
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool WantsColours()
{
    const char* terminal = std::getenv("TERM");
    return ::isatty(STDOUT_FILENO) == 1 && !IsSet("NO_COLOR") &&
           (terminal == nullptr || std::string_view(terminal) != "dumb");
}

} // namespace

Output::Output(const StopSignals& signals) : m_signals(signals), m_hasColours(WantsColours()) {}

void Output::Write(std::string_view text) const
{
    while (!text.empty()) {
        std::array<struct pollfd, 2> awaited = {{{STDOUT_FILENO, POLLOUT, 0}, {m_signals.Descriptor(), POLLIN, 0}}};
        if (::poll(awaited.data(), awaited.size(), -1) < 0 && errno != EINTR) {
            throw std::runtime_error("cannot write what happens");
        }
        if ((awaited[0].revents) == 0) {
            if (const std::optional<int> signal = m_signals.Take()) {
                throw Stopped{*signal};
            }
            continue;
        }
        // No more at once than a pipe that has room takes without waiting.
        const ssize_t written = ::write(STDOUT_FILENO, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR && errno != EAGAIN) {
            throw std::runtime_error("cannot write what happens");
        }
    }
}

std::string Output::Coloured(const char* code, const std::string& text) const
{
    return m_hasColours ? "\033[" + std::string(code) + "m" + text + "\033[0m" : text;
}

} // namespace front
