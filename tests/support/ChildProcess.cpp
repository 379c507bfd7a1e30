#include "support/ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <ostream>
#include <set>
#include <stdexcept>

namespace support {

namespace {

struct Pipe
{
    Pipe()
    {
        std::array<int, 2> ends = {-1, -1};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe for the child");
        }
        out = ends[0];
        in = ends[1];
    }

    int out = -1;
    int in = -1;
};

/// The gates of all children of this process that still wait: a child forked later would hold them shut.
std::set<int>& ClosedGates()
{
    static std::set<int> gates;
    return gates;
}

/// Returns when the other end has been closed.
void WaitAtGate(int gate)
{
    char nothing = 0;
    while (::read(gate, &nothing, 1) < 0 && errno == EINTR) {
    }
    ::close(gate);
}

int RunBody(const std::function<int()>& body)
{
    try {
        return body();
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "the child threw: %s\n", exception.what());
        return ChildProcess::kThrew;
    }
}

/// Runs in the child. Leaves by exit, not _exit, so that coverage is written and leaks are looked for.
[[noreturn]] void BecomeChild(const std::function<int()>& body, const Pipe& output, const Pipe& gate)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(output.in, STDOUT_FILENO);
    ::close(output.in);
    ::close(output.out);
    ::close(gate.in);
    for (const int ofAnother : ClosedGates()) {
        ::close(ofAnother);
    }
    WaitAtGate(gate.out);
    std::exit(RunBody(body));
}

ProcessEnd FromWaitStatus(int status)
{
    return WIFEXITED(status) ? Exited(WEXITSTATUS(status)) : KilledBy(WTERMSIG(status));
}

} // namespace

ProcessEnd Exited(int status)
{
    return {ProcessEnd::How::Exited, status};
}

ProcessEnd KilledBy(int signal)
{
    return {ProcessEnd::How::Killed, signal};
}

ProcessEnd StillRunning()
{
    return {};
}

void PrintTo(const ProcessEnd& end, std::ostream* out)
{
    switch (end.how) {
    case ProcessEnd::How::StillRunning:
        *out << "still running";
        break;
    case ProcessEnd::How::Exited:
        *out << "exited with " << end.number;
        break;
    case ProcessEnd::How::Killed:
        *out << "killed by signal " << end.number;
        break;
    }
}

ChildProcess::ChildProcess(const std::function<int()>& body, Start start)
{
    const Pipe output;
    const Pipe gate;
    std::fflush(nullptr); // or the child would write it once more
    m_pid = ::fork();
    if (m_pid == 0) {
        BecomeChild(body, output, gate);
    }
    ::close(output.in);
    ::close(gate.out);
    m_output = output.out;
    m_gate = gate.in;
    ClosedGates().insert(m_gate);
    ::fcntl(m_output, F_SETFL, O_NONBLOCK);
    if (start == Start::AtOnce) {
        CloseGate();
    }
}

ChildProcess::~ChildProcess()
{
    if (m_end == StillRunning()) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
    CloseGate();
    ::close(m_output);
}

void ChildProcess::Begins()
{
    CloseGate();
}

void ChildProcess::Send(int signal) const
{
    if (m_end == StillRunning()) {
        ::kill(m_pid, signal);
    }
}

const std::string& ChildProcess::Output()
{
    ReadOutput();
    return m_text;
}

bool ChildProcess::WaitForOutput(const std::string& text, std::chrono::milliseconds deadline)
{
    const auto isThere = [&] { return Output().find(text) != std::string::npos; };
    IterateUntil([&] { return isThere() || m_outputEnded; }, deadline);
    return isThere();
}

ProcessEnd ChildProcess::WaitForEnd(std::chrono::milliseconds deadline)
{
    IterateUntil([this] { return HasEnded(); }, deadline);
    ReadOutput();
    return m_end;
}

bool ChildProcess::HasEnded()
{
    ReadOutput(); // a child that fills the pipe would not end
    int status = 0;
    if (m_end == StillRunning() && ::waitpid(m_pid, &status, WNOHANG) == m_pid) {
        m_end = FromWaitStatus(status);
    }
    return m_end != StillRunning();
}

void ChildProcess::ReadOutput()
{
    std::array<char, 4096> buffer = {};
    while (!m_outputEnded) {
        const ssize_t length = ::read(m_output, buffer.data(), buffer.size());
        if (length > 0) {
            m_text.append(buffer.data(), static_cast<std::size_t>(length));
        } else if (length == 0) {
            m_outputEnded = true;
        } else if (errno != EINTR) {
            return;
        }
    }
}

void ChildProcess::CloseGate()
{
    if (m_gate >= 0) {
        ClosedGates().erase(m_gate);
        ::close(m_gate);
        m_gate = -1;
    }
}

} // namespace support
