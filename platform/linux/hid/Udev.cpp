// Input devices as the kernel has them: udev tells which there are, a node in /dev carries the reports.

#include "Log.h"
#include "bluez/Address.h"
#include "bluez/Modalias.h"
#include "bus/Handles.h"
#include "files/Root.h"
#include "files/SmallFile.h"
#include "hid/HidId.h"
#include "hid/Protocol.h"
#include "hid/Transport.h"

#include <glib-unix.h>

#include <fcntl.h>
#include <libudev.h>
#include <linux/hidraw.h>
#include <settings/FileDescriptor.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace hid {

namespace {

constexpr const char* kSubsystem = "hidraw";
constexpr std::size_t kMostDescriptorBytes = 4096; // as many as the kernel takes

using UdevPtr = std::unique_ptr<udev, bus::ReleaseWith<udev_unref>>;
using MonitorPtr = std::unique_ptr<udev_monitor, bus::ReleaseWith<udev_monitor_unref>>;
using EnumeratePtr = std::unique_ptr<udev_enumerate, bus::ReleaseWith<udev_enumerate_unref>>;
using DevicePtr = std::unique_ptr<udev_device, bus::ReleaseWith<udev_device_unref>>;

std::string Text(const char* text)
{
    return text != nullptr ? text : "";
}

/// Nothing for a device that is not on Bluetooth.
std::optional<Node> NodeOf(udev_device* device)
{
    // The parent belongs to the device.
    udev_device* parent = udev_device_get_parent_with_subsystem_devtype(device, "hid", nullptr);
    const char* path = udev_device_get_devnode(device);
    if (parent == nullptr || path == nullptr) {
        return std::nullopt;
    }
    const auto id = BluetoothIdIn(Text(udev_device_get_property_value(parent, "HID_ID")));
    if (!id) {
        return std::nullopt;
    }
    const std::string address = Text(udev_device_get_property_value(parent, "HID_UNIQ"));
    if (!bluez::IsAddress(address)) {
        PLATFORM_LOG(DLOG_WARN, "%s has no address: left out", path);
        return std::nullopt;
    }
    const files::SmallFile descriptor(files::UnderRoot(Text(udev_device_get_syspath(parent)) + "/report_descriptor"),
                                      kMostDescriptorBytes);
    const std::string adapter = Text(udev_device_get_property_value(parent, "HID_PHYS"));
    Node node{path, bluez::Normalised(address), id->vendor, id->product, {}, bluez::Normalised(adapter)};
    if (descriptor.Text()) {
        node.descriptor.assign(descriptor.Text()->begin(), descriptor.Text()->end());
    }
    return node;
}

/// Ends a wait of this thread in the kernel, which would otherwise last for five seconds and keep the other devices
/// from being opened and closed meanwhile. The signal comes again and again, in case the wait had not begun.
class Patience
{
public:
    explicit Patience(long milliseconds)
    {
        static const bool isPrepared = Prepare();
        sigset_t urgent;
        sigemptyset(&urgent);
        sigaddset(&urgent, kSignal);
        pthread_sigmask(SIG_UNBLOCK, &urgent, nullptr);
        sigevent event{};
        event.sigev_notify = SIGEV_THREAD_ID;
        event.sigev_signo = kSignal;
        event._sigev_un._tid = gettid();
        constexpr long kNanoseconds = 1000000;
        const itimerspec times{{0, 20 * kNanoseconds}, {0, milliseconds * kNanoseconds}};
        m_isRunning = isPrepared && timer_create(CLOCK_MONOTONIC, &event, &m_timer) == 0;
        if (m_isRunning) {
            timer_settime(m_timer, 0, &times, nullptr);
        }
    }
    ~Patience()
    {
        if (m_isRunning) {
            timer_delete(m_timer);
        }
    }
    Patience(const Patience&) = delete;
    Patience& operator=(const Patience&) = delete;

private:
    // Harmless where it is not expected.
    static constexpr int kSignal = SIGURG;

    static bool Prepare()
    {
        struct sigaction action
        {};
        action.sa_handler = [](int) {};
        return sigaction(kSignal, &action, nullptr) == 0;
    }

    timer_t m_timer{};
    bool m_isRunning = false;
};

class KernelChannel : public Channel
{
public:
    explicit KernelChannel(settings::FileDescriptor node) : m_node(std::move(node)) {}

    [[nodiscard]] int Descriptor() const override
    {
        return m_node.Get();
    }

    std::optional<std::size_t> Read(std::span<std::uint8_t> buffer) override
    {
        const ssize_t size = read(m_node.Get(), buffer.data(), buffer.size());
        return size >= 0 ? std::optional(static_cast<std::size_t>(size)) : std::nullopt;
    }

    bool Write(ByteSpan report) override
    {
        return write(m_node.Get(), report.data(), report.size()) == static_cast<ssize_t>(report.size());
    }

    std::optional<Bytes> GetFeature(Report report, std::size_t size) override
    {
        // Of a sleepy remote's time between two looks at its link, twice as much.
        constexpr long kAnswerMs = 450;
        const Patience patience(kAnswerMs);
        Bytes buffer(size);
        buffer[0] = report;
        const int received = ioctl(m_node.Get(), HIDIOCGFEATURE(buffer.size()), buffer.data());
        if (received < 0) {
            return std::nullopt;
        }
        buffer.resize(std::min(static_cast<std::size_t>(received), buffer.size()));
        return buffer;
    }

private:
    settings::FileDescriptor m_node;
};

class KernelTransport : public Transport
{
public:
    std::vector<Node> Start(Came came, Went went) override
    {
        m_came = std::move(came);
        m_went = std::move(went);
        m_udev.reset(udev_new());
        if (!m_udev) {
            return {};
        }
        // First, so that nothing comes between.
        Watch();
        return Look();
    }

    void Stop() override
    {
        m_source.reset();
        m_monitor.reset();
        m_udev.reset();
    }

    std::unique_ptr<Channel> Open(const Node& node) override
    {
        settings::FileDescriptor descriptor(
            open(files::UnderRoot(node.path).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
        return descriptor.IsOpen() ? std::make_unique<KernelChannel>(std::move(descriptor)) : nullptr;
    }

private:
    void Watch()
    {
        // What udev itself passes on: the rules have given the node its rights by then.
        m_monitor.reset(udev_monitor_new_from_netlink(m_udev.get(), "udev"));
        if (!m_monitor || udev_monitor_filter_add_match_subsystem_devtype(m_monitor.get(), kSubsystem, nullptr) < 0 ||
            udev_monitor_enable_receiving(m_monitor.get()) < 0) {
            PLATFORM_LOG(DLOG_ERROR, "udev does not tell of input devices that come");
            m_monitor.reset();
            return;
        }
        m_source.reset(g_unix_fd_source_new(udev_monitor_get_fd(m_monitor.get()), G_IO_IN));
        g_source_set_callback(m_source.get(), G_SOURCE_FUNC(OnEvent), this, nullptr);
        g_source_attach(m_source.get(), nullptr);
    }

    std::vector<Node> Look() const
    {
        std::vector<Node> nodes;
        const EnumeratePtr all(udev_enumerate_new(m_udev.get()));
        if (!all || udev_enumerate_add_match_subsystem(all.get(), kSubsystem) < 0 ||
            udev_enumerate_scan_devices(all.get()) < 0) {
            return nodes;
        }
        for (udev_list_entry* entry = udev_enumerate_get_list_entry(all.get()); entry != nullptr;
             entry = udev_list_entry_get_next(entry)) {
            const DevicePtr device(udev_device_new_from_syspath(m_udev.get(), udev_list_entry_get_name(entry)));
            if (std::optional<Node> node = device ? NodeOf(device.get()) : std::nullopt) {
                nodes.push_back(std::move(*node));
            }
        }
        return nodes;
    }

    static gboolean OnEvent(gint, GIOCondition, gpointer self)
    {
        auto& transport = *static_cast<KernelTransport*>(self);
        const DevicePtr device(udev_monitor_receive_device(transport.m_monitor.get()));
        const std::string action = device ? Text(udev_device_get_action(device.get())) : "";
        if (action == "remove") {
            // Nothing but the names is left of it.
            transport.m_went(Text(udev_device_get_devnode(device.get())));
        } else if (action == "add") {
            if (const std::optional<Node> node = NodeOf(device.get())) {
                transport.m_came(*node);
            }
        }
        return transport.m_source ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
    }

    Came m_came;
    Went m_went;
    UdevPtr m_udev;
    MonitorPtr m_monitor;
    bus::SourcePtr m_source;
};

Transport*& Named()
{
    static Transport* named = nullptr;
    return named;
}

} // namespace

Transport& TheTransport()
{
    static KernelTransport kernel;
    Transport* const named = Named();
    if (named != nullptr) {
        return *named;
    }
    return kernel;
}

void UseTransport(Transport* transport)
{
    Named() = transport;
}

} // namespace hid
