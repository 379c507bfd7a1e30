// What input devices say of themselves and report. The first letter says where it comes from.

#include "Input.h"
#include "Target.h"
#include "bluez/Modalias.h"
#include "hid/HidId.h"
#include "hid/Protocol.h"
#include "hid/Remote.h"
#include "hid/Transport.h"
#include "support/MainLoop.h"

#include <settings/FileDescriptor.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

/// A node that answers and reports what the input says; at its end it is gone.
class InputChannel : public hid::Channel
{
public:
    explicit InputChannel(std::deque<hid::Bytes> reports) : m_reports(std::move(reports)) {}

    [[nodiscard]] int Descriptor() const override
    {
        return m_ready.Get();
    }
    std::optional<std::size_t> Read(std::span<std::uint8_t> buffer) override
    {
        if (m_reports.empty()) {
            errno = EIO;
            return std::nullopt;
        }
        const hid::Bytes report = std::move(m_reports.front());
        m_reports.pop_front();
        const std::size_t size = std::min(report.size(), buffer.size());
        std::copy_n(report.begin(), size, buffer.begin());
        return size;
    }
    bool Write(hid::ByteSpan) override
    {
        return true;
    }
    std::optional<hid::Bytes> GetFeature(hid::Report, std::size_t) override
    {
        return std::nullopt;
    }

private:
    settings::FileDescriptor m_ready{::eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::deque<hid::Bytes> m_reports;
};

class InputTransport : public hid::Transport
{
public:
    InputTransport()
    {
        hid::UseTransport(this);
    }
    ~InputTransport() override
    {
        hid::UseTransport(nullptr);
    }
    InputTransport(const InputTransport&) = delete;
    InputTransport& operator=(const InputTransport&) = delete;

    std::vector<hid::Node> Start(Came, Went) override
    {
        return {};
    }
    void Stop() override {}
    std::unique_ptr<hid::Channel> Open(const hid::Node&) override
    {
        return std::make_unique<InputChannel>(std::exchange(reports, {}));
    }

    std::deque<hid::Bytes> reports; ///< of the node that is opened next
};

class Listener final : public hid::RemoteListener
{
public:
    void RemoteKnown(hid::Remote&) override {}
    void BatteryReported(const hid::Remote&, std::uint8_t) override {}
    void ChargingReported(const hid::Remote&, std::uint8_t, std::uint8_t) override {}
    void Gripped(const hid::Remote&, std::uint8_t) override {}
    void GripStateReported(const hid::Remote&, int) override {}
};

// A report descriptor that has the feature report of a remote's identity: all that makes a node speak.
const hid::Bytes kSpeaks = {0x06, 0x60, 0xFF, 0x09, 0x01, 0xA1, 0x01, 0x15, 0x00, 0x26, 0xFF, 0x00,
                            0x75, 0x08, 0x85, 0x40, 0x09, 0x40, 0x95, 0x0C, 0xB1, 0x02, 0xC0};

/// Reports of one remote, each with its length in front.
void Report(fuzz::Input input)
{
    std::deque<hid::Bytes> reports;
    while (!input.IsAtEnd()) {
        hid::Bytes report(input.Byte() % 64U);
        std::ranges::generate(report, [&input] { return input.Byte(); });
        reports.push_back(std::move(report));
    }
    InputTransport transport;
    transport.reports = std::move(reports);
    Listener listener;
    hid::Remote remote(listener, "AA:BB:CC:DD:EE:01", hid::Role::SmartRemote);
    remote.NodeCame({"/dev/hidraw0", "AA:BB:CC:DD:EE:01", 0x04E8, 0x2075, kSpeaks});
    fuzz::Expect(remote.Speaks(), "the remote speaks the protocol");
    remote.LinkUp();
    support::DrainMainLoop();
    remote.NodeWent("/dev/hidraw0");
}

void ReadDuid(fuzz::Bytes duid)
{
    if (!duid.empty() && duid.size() <= hid::kMostChunks * hid::kChunkBytes) {
        const std::size_t chunks = (duid.size() + hid::kChunkBytes - 1) / hid::kChunkBytes;
        fuzz::Expect(hid::DuidChunks(duid).size() == chunks, "a DUID goes out whole");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    switch (input.Letter()) {
    case 'd':
        hid::AbilitiesIn(input.RestAsBytes());
        break;
    case 'f':
        hid::IdentityIn(input.RestAsBytes());
        hid::StatusIn(input.RestAsBytes());
        break;
    case 'i':
        hid::BluetoothIdIn(input.Rest());
        hid::PairsIn(input.Rest());
        bluez::IdentityIn(input.Rest());
        break;
    case 'r':
        Report(input);
        break;
    case 'u':
        ReadDuid(input.RestAsBytes());
        break;
    default:
        break;
    }
    return 0;
}
