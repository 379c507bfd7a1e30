#include "support/PrivateBus.h"

#include <gio/gio.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace support {

namespace {

constexpr const char* kAddressVariable = "DBUS_SYSTEM_BUS_ADDRESS";

constexpr const char* kConfiguration =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:dir=@DIR@</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow send_type="method_call"/>
    <allow send_type="signal"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
)";

/// Runs in the child between fork and exec.
[[noreturn]] void BecomeDaemon(const char* configuration, int addressPipe)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that crashes leaves no daemon behind
    ::fcntl(addressPipe, F_SETFD, 0);
    // It complains that it may not raise its limit of open files, which a test does not need.
    ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
    const std::string configArgument = std::string("--config-file=") + configuration;
    const std::string addressArgument = "--print-address=" + std::to_string(addressPipe);
    ::execlp("dbus-daemon", "dbus-daemon", "--nofork", "--nopidfile", "--nosyslog", configArgument.c_str(),
             addressArgument.c_str(), nullptr);
    ::_exit(127);
}

std::string ReadLine(int descriptor)
{
    std::string line;
    char character = 0;
    while (true) {
        const ssize_t length = ::read(descriptor, &character, 1);
        if (length < 0 && errno == EINTR) {
            continue;
        }
        if (length <= 0 || character == '\n') {
            return line;
        }
        line.push_back(character);
    }
}

/// The process's shared connection raises SIGTERM when its bus goes; not for a bus that a test takes away.
void LetGoOfSharedConnection()
{
    GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    if (connection != nullptr) {
        g_dbus_connection_set_exit_on_close(connection, FALSE);
        g_object_unref(connection);
    }
}

} // namespace

PrivateBus::PrivateBus()
{
    Start(WriteConfiguration());
    ::setenv(kAddressVariable, m_address.c_str(), 1);
}

PrivateBus::~PrivateBus()
{
    if (m_pid > 0) {
        LetGoOfSharedConnection();
        Dies();
    }
    ::unsetenv(kAddressVariable);
}

void PrivateBus::Dies()
{
    ::kill(m_pid, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
    m_pid = -1;
}

std::string PrivateBus::WriteConfiguration() const
{
    std::string text = kConfiguration;
    text.replace(text.find("@DIR@"), 5, m_dir.Path().string());
    std::string path = m_dir.Path() / "bus.conf";
    std::ofstream(path) << text;
    return path;
}

void PrivateBus::Start(const std::string& configuration)
{
    std::array<int, 2> addressPipe = {-1, -1};
    if (::pipe2(addressPipe.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe for the bus");
    }
    m_pid = ::fork();
    if (m_pid == 0) {
        BecomeDaemon(configuration.c_str(), addressPipe[1]);
    }
    ::close(addressPipe[1]);
    m_address = ReadLine(addressPipe[0]);
    ::close(addressPipe[0]);
    if (m_address.empty()) {
        Dies(); // no destructor runs for what was never whole
        throw std::runtime_error("dbus-daemon did not start");
    }
}

} // namespace support
