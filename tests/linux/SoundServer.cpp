#include "linux/SoundServer.h"

#include "linux/Root.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace linux_test {

namespace {

[[noreturn]] void BecomeServer(const std::string& socket)
{
    const int nowhere = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    ::dup2(nowhere, STDOUT_FILENO);
    ::dup2(nowhere, STDERR_FILENO);
    const std::string protocol = "--load=module-native-protocol-unix socket=" + socket + " auth-anonymous=1";
    ::execlp("pulseaudio", "pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--disable-shm=yes",
             "--exit-idle-time=-1", protocol.c_str(), "--load=module-null-sink sink_name=one",
             "--load=module-null-sink sink_name=two", nullptr);
    ::_exit(127);
}

} // namespace

SoundServer::SoundServer(Start start)
{
    // Neither the server nor its library shall look at, or write to, what the person who runs the test has.
    ::setenv("HOME", m_folder.Path().c_str(), 1);
    ::setenv("XDG_RUNTIME_DIR", m_folder.Path().c_str(), 1);
    ::unsetenv("PULSE_SERVER");
    WriteFile("/etc/vyrel-lite/features.d/sound.conf",
              "[platform]\nsound.server=unix:" + (m_folder.Path() / "native").string() + "\n");
    if (start == Start::AtOnce) {
        Comes();
    }
}

SoundServer::~SoundServer()
{
    Dies();
}

void SoundServer::Comes()
{
    const std::string socket = m_folder.Path() / "native";
    m_server = support::Child::Fork([&]() -> int { BecomeServer(socket); });
    for (int attempt = 0; attempt < 400; ++attempt) {
        if (Ask("get-default-sink") == "one") {
            return;
        }
        if (m_server.Poll() != support::StillRunning()) {
            break;
        }
        ::usleep(25'000);
    }
    throw std::runtime_error("no sound server");
}

void SoundServer::Dies()
{
    m_server.Kill();
    std::filesystem::remove(m_folder.Path() / "native");
}

void SoundServer::Freezes() const
{
    m_server.Send(SIGSTOP);
}

void SoundServer::Thaws() const
{
    m_server.Send(SIGCONT);
}

bool SoundServer::IsMuted(const std::string& sink) const
{
    return Ask("get-sink-mute " + sink) == "Mute: yes";
}

void SoundServer::Mutes(const std::string& sink, bool mute) const
{
    (void)Ask("set-sink-mute " + sink + (mute ? " 1" : " 0"));
}

void SoundServer::ChoosesDefault(const std::string& sink) const
{
    (void)Ask("set-default-sink " + sink);
}

void SoundServer::LosesDefault() const
{
    const std::string lines = Ask("list short modules | grep sink_name=one | cut -f1");
    (void)Ask("unload-module " + lines);
}

std::string SoundServer::Ask(const std::string& command) const
{
    const std::string line =
        "LC_ALL=C pactl -s unix:" + (m_folder.Path() / "native").string() + " " + command + " 2>/dev/null";
    std::FILE* pipe = ::popen(line.c_str(), "re");
    if (pipe == nullptr) {
        throw std::runtime_error("pactl cannot be started");
    }
    std::string text;
    std::array<char, 256> piece = {};
    while (std::fgets(piece.data(), piece.size(), pipe) != nullptr) {
        text += piece.data();
    }
    ::pclose(pipe);
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

} // namespace linux_test
