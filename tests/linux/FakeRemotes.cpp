#include "linux/FakeRemotes.h"

#include <glib-unix.h>

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <span>
#include <stdexcept>
#include <utility>

namespace linux_test {

using hid::Bytes;

namespace {

std::string Hex(hid::ByteSpan bytes)
{
    std::string text;
    for (const std::uint8_t byte : bytes) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", byte);
        text += digits.data();
    }
    return text;
}

} // namespace

class FakeRemotes::Socket : public hid::Channel
{
public:
    Socket(FakeRemotes& remotes, int descriptor) : m_remotes(remotes), m_descriptor(descriptor) {}
    ~Socket() override
    {
        close(m_descriptor);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    [[nodiscard]] int Descriptor() const override
    {
        return m_descriptor;
    }
    std::optional<std::size_t> Read(std::span<std::uint8_t> buffer) override
    {
        const ssize_t size = recv(m_descriptor, buffer.data(), buffer.size(), 0);
        return size >= 0 ? std::optional(static_cast<std::size_t>(size)) : std::nullopt;
    }
    bool Write(hid::ByteSpan report) override
    {
        if (m_remotes.m_writeFailures > 0) {
            --m_remotes.m_writeFailures;
            errno = m_remotes.m_writeError;
            return false;
        }
        return send(m_descriptor, report.data(), report.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(report.size());
    }
    std::optional<Bytes> GetFeature(hid::Report report, std::size_t) override
    {
        return m_remotes.Feature(report);
    }

private:
    FakeRemotes& m_remotes;
    int m_descriptor;
};

FakeRemotes::FakeRemotes()
{
    hid::UseTransport(this);
    Answers(hid::kIdentity, {hid::kIdentity, 1, 17, 0x78, 0x56, 0x34, 0xB2, 0x04, 0, 0, 0, 0, 0});
    Answers(hid::kStatus, {hid::kStatus, 0xF4, 6, 9, 1, 0, 0, 0, 0});
}

FakeRemotes::~FakeRemotes()
{
    hid::UseTransport(nullptr);
    m_source.reset();
    if (m_far >= 0) {
        close(m_far);
    }
}

Bytes FakeRemotes::RemoteDescriptor()
{
    return {0x05, 0x0C, 0x09, 0x01, 0xA1, 0x01, 0x85, 0x01, 0x15, 0x00, 0x26, 0xFF, 0x03, 0x19, 0x00, 0x2A, 0xFF, 0x03,
            0x75, 0x10, 0x95, 0x01, 0x81, 0x00, 0xC0, 0x06, 0x60, 0xFF, 0x09, 0x01, 0xA1, 0x01, 0x15, 0x00, 0x26, 0xFF,
            0x00, 0x75, 0x08, 0x85, 0x20, 0x09, 0x20, 0x95, 0x02, 0x81, 0x02, 0x85, 0x21, 0x09, 0x21, 0x95, 0x03, 0x81,
            0x02, 0x85, 0x22, 0x09, 0x22, 0x95, 0x02, 0x81, 0x02, 0x85, 0x23, 0x09, 0x23, 0x95, 0x02, 0x81, 0x02, 0x85,
            0x24, 0x09, 0x24, 0x95, 0x04, 0x81, 0x02, 0x85, 0x30, 0x09, 0x30, 0x95, 0x03, 0x91, 0x02, 0x85, 0x31, 0x09,
            0x31, 0x95, 0x13, 0x91, 0x02, 0x85, 0x32, 0x09, 0x32, 0x95, 0x13, 0x91, 0x02, 0x85, 0x40, 0x09, 0x40, 0x95,
            0x0C, 0xB1, 0x02, 0x85, 0x41, 0x09, 0x41, 0x95, 0x08, 0xB1, 0x02, 0xC0};
}

Bytes FakeRemotes::StandDescriptor()
{
    return {0x06, 0x60, 0xFF, 0x09, 0x02, 0xA1, 0x01, 0x15, 0x00, 0x26, 0xFF, 0x00,
            0x75, 0x08, 0x85, 0x33, 0x09, 0x33, 0x95, 0x02, 0x91, 0x02, 0xC0};
}

Bytes FakeRemotes::KeyboardDescriptor()
{
    return {0x05, 0x0C, 0x09, 0x01, 0xA1, 0x01, 0x85, 0x40, 0x15, 0x00, 0x26, 0xFF, 0x03, 0x19,
            0x00, 0x2A, 0xFF, 0x03, 0x75, 0x10, 0x95, 0x01, 0x81, 0x00, 0xB1, 0x02, 0xC0};
}

hid::Node FakeRemotes::SmartRemote(const std::string& address, const std::string& path)
{
    return {path, address, 0x04E8, 0x2075, RemoteDescriptor(), kAdapterAddress};
}

void FakeRemotes::Plugs(const hid::Node& node)
{
    m_nodes[node.path] = node;
    if (m_came) {
        m_came(node);
    }
}

void FakeRemotes::Unplugs(const std::string& path)
{
    m_nodes.erase(path);
    if (m_went) {
        m_went(path);
    }
}

void FakeRemotes::HangsUp()
{
    m_source.reset();
    shutdown(m_far, SHUT_RDWR);
}

void FakeRemotes::Reports(const Bytes& report)
{
    if (!TriesToReport(report)) {
        throw std::runtime_error("nobody reads the reports");
    }
}

bool FakeRemotes::TriesToReport(const Bytes& report)
{
    return send(m_far, report.data(), report.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(report.size());
}

void FakeRemotes::Answers(hid::Report feature, const Bytes& report)
{
    const std::lock_guard lock(m_mutex);
    m_features[feature] = report;
}

void FakeRemotes::KnowsNothing()
{
    const std::lock_guard lock(m_mutex);
    m_features.clear();
}

void FakeRemotes::Dawdles()
{
    const std::lock_guard lock(m_mutex);
    m_dawdles = true;
}

void FakeRemotes::Hurries()
{
    const std::lock_guard lock(m_mutex);
    m_dawdles = false;
    m_hurry.notify_all();
}

void FakeRemotes::CannotBeOpened(int error)
{
    m_openError = error;
}

void FakeRemotes::CannotBeWritten(int times, int error)
{
    m_writeFailures = times;
    m_writeError = error;
}

int FakeRemotes::asked()
{
    const std::lock_guard lock(m_mutex);
    return m_asked;
}

std::optional<Bytes> FakeRemotes::Feature(hid::Report feature)
{
    constexpr std::chrono::milliseconds kLongest(450);
    std::unique_lock lock(m_mutex);
    ++m_asked;
    if (!m_hurry.wait_for(lock, kLongest, [this] { return !m_dawdles; })) {
        return std::nullopt;
    }
    const auto found = m_features.find(feature);
    return found != m_features.end() ? std::optional(found->second) : std::nullopt;
}

std::vector<hid::Node> FakeRemotes::Start(Came came, Went went)
{
    m_came = std::move(came);
    m_went = std::move(went);
    std::vector<hid::Node> nodes;
    for (const auto& [path, node] : m_nodes) {
        nodes.push_back(node);
    }
    return nodes;
}

void FakeRemotes::Stop()
{
    m_came = {};
    m_went = {};
}

std::unique_ptr<hid::Channel> FakeRemotes::Open(const hid::Node& node)
{
    if (m_openError != 0) {
        errno = m_openError;
        return nullptr;
    }
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) != 0) {
        throw std::runtime_error("no pair of sockets");
    }
    m_source.reset();
    if (m_far >= 0) {
        close(m_far);
    }
    ++opened;
    openedNode = node.path;
    m_far = ends[1];
    m_source.reset(g_unix_fd_source_new(m_far, G_IO_IN));
    g_source_set_callback(m_source.get(), G_SOURCE_FUNC(OnSent), this, nullptr);
    g_source_attach(m_source.get(), nullptr);
    return std::make_unique<Socket>(*this, ends[0]);
}

gboolean FakeRemotes::OnSent(gint descriptor, GIOCondition, gpointer self)
{
    auto& remotes = *static_cast<FakeRemotes*>(self);
    std::array<std::uint8_t, 64> buffer{};
    const ssize_t size = recv(descriptor, buffer.data(), buffer.size(), 0);
    if (size <= 0) {
        return G_SOURCE_REMOVE;
    }
    const hid::ByteSpan report(buffer.data(), static_cast<std::size_t>(size));
    remotes.sent.push_back(Hex(report));
    if (remotes.acknowledges && report.front() != hid::kStandCommand) {
        std::uint8_t result = hid::kDone;
        if (!remotes.results.empty()) {
            result = remotes.results.front();
            remotes.results.pop_front();
        }
        (void)remotes.TriesToReport({hid::kAcknowledgement, report.front(), report.back(), result, 0});
    }
    return G_SOURCE_CONTINUE;
}

} // namespace linux_test
