#include "support/PrivateBus.h"

#include "settings/FileDescriptor.h"

#include <gio/gio.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

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
  @LIMITS@
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
    ::setsid(); // it ends with its owner, who may have something to say on it yet, and not with Ctrl-C
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

PrivateBus::PrivateBus(const std::string& limits)
{
    Start(WriteConfiguration(limits));
    ::setenv(kAddressVariable, m_address.c_str(), 1);
}

PrivateBus::~PrivateBus()
{
    if (m_daemon.Pid() > 0) {
        LetGoOfSharedConnection();
    }
    ::unsetenv(kAddressVariable);
}

void PrivateBus::Dies()
{
    m_daemon.Kill();
}

std::string PrivateBus::WriteConfiguration(const std::string& limits) const
{
    std::string text = kConfiguration;
    text.replace(text.find("@DIR@"), 5, m_dir.Path().string());
    text.replace(text.find("@LIMITS@"), 8, limits);
    std::string path = m_dir.Path() / "bus.conf";
    if (!(std::ofstream(path) << text << std::flush)) {
        throw std::runtime_error("cannot write " + path);
    }
    return path;
}

void PrivateBus::Start(const std::string& configuration)
{
    std::array<int, 2> addressPipe = {-1, -1};
    if (::pipe2(addressPipe.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "no pipe for the bus");
    }
    const settings::FileDescriptor out(addressPipe[0]);
    settings::FileDescriptor in(addressPipe[1]);
    m_daemon = Child::Fork([&]() -> int { BecomeDaemon(configuration.c_str(), in.Get()); });
    in = settings::FileDescriptor(); // so that a daemon that dies ends the line
    m_address = ReadLine(out.Get());
    if (m_address.empty()) {
        throw std::runtime_error("dbus-daemon did not start; is it installed?");
    }
}

} // namespace support
