#include "support/ChildProcess.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <set>
#include <system_error>
#include <utility>

namespace support {

namespace {

using settings::FileDescriptor;

struct Pipe
{
    Pipe()
    {
        std::array<int, 2> ends = {-1, -1};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "no pipe for the child");
        }
        out = FileDescriptor(ends[0]);
        in = FileDescriptor(ends[1]);
    }

    FileDescriptor out;
    FileDescriptor in;
};

/// The gates of all children of this process that still wait: a child forked later would hold them shut.
std::set<int>& ClosedGates()
{
    static std::set<int> gates;
    return gates;
}

/// Returns when the other end has been closed.
void WaitAtGate(const FileDescriptor& gate)
{
    char nothing = 0;
    while (::read(gate.Get(), &nothing, 1) < 0 && errno == EINTR) {
    }
}

/// Runs in the child, which must not keep the parent's ends: its output would never end, nor its gate open.
void TakeItsEnds(Pipe& output, Pipe& gate)
{
    ::dup2(output.in.Get(), STDOUT_FILENO);
    output.in = FileDescriptor();
    output.out = FileDescriptor();
    gate.in = FileDescriptor();
    for (const int ofAnother : ClosedGates()) {
        ::close(ofAnother);
    }
    WaitAtGate(gate.out);
    gate.out = FileDescriptor();
}

} // namespace

ChildProcess::ChildProcess(const std::function<int()>& body, Start start)
{
    Pipe output;
    Pipe gate;
    m_child = Child::Fork([&] {
        TakeItsEnds(output, gate);
        return body();
    });
    m_output = std::move(output.out);
    m_gate = std::move(gate.in);
    ClosedGates().insert(m_gate.Get());
    ::fcntl(m_output.Get(), F_SETFL, O_NONBLOCK);
    if (start == Start::AtOnce) {
        CloseGate();
    }
}

ChildProcess::~ChildProcess()
{
    m_child.Kill(); // first: a gate that opens would let it start
    CloseGate();
}

void ChildProcess::Begins()
{
    CloseGate();
}

void ChildProcess::Send(int signal) const
{
    m_child.Send(signal);
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
    return m_child.Poll();
}

bool ChildProcess::HasEnded()
{
    ReadOutput(); // a child that fills the pipe would not end
    return m_child.Poll() != StillRunning();
}

void ChildProcess::ReadOutput()
{
    std::array<char, 4096> buffer = {};
    while (!m_outputEnded) {
        const ssize_t length = ::read(m_output.Get(), buffer.data(), buffer.size());
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
    if (m_gate.IsOpen()) {
        ClosedGates().erase(m_gate.Get());
        m_gate = FileDescriptor();
    }
}

} // namespace support
