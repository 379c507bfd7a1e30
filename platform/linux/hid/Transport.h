#pragma once

#include "hid/Protocol.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace hid {

/// One input device on Bluetooth, as the kernel shows it.
struct Node
{
    std::string path;    ///< "/dev/hidraw3"
    std::string address; ///< in capital letters
    unsigned vendor = 0;
    unsigned product = 0;
    Bytes descriptor;      ///< of its reports
    std::string adapter{}; ///< the address of the one that it is connected to, in capital letters; empty for unknown
};

/// A node that was opened. Reports have their id in front.
class Channel
{
public:
    virtual ~Channel() = default;

    /// Readable when a report has come.
    [[nodiscard]] virtual int Descriptor() const = 0;
    /// \return nothing, with errno, when none has come or the device is gone
    virtual std::optional<std::size_t> Read(std::span<std::uint8_t> buffer) = 0;
    /// \return false with errno; does not wait
    virtual bool Write(ByteSpan report) = 0;
    /// Asks the device itself, and waits for half a second at most. For a thread of its own.
    /// \return nothing when it did not answer
    virtual std::optional<Bytes> GetFeature(Report report, std::size_t size) = 0;
};

/// Where input devices come from. Tests put their own in its place.
class Transport
{
public:
    virtual ~Transport() = default;

    using Came = std::function<void(const Node&)>;
    using Went = std::function<void(const std::string& path)>;

    /// \return what is there; what comes and goes later is told on the main loop, until Stop()
    virtual std::vector<Node> Start(Came came, Went went) = 0;
    virtual void Stop() = 0;
    /// \return null with errno
    virtual std::unique_ptr<Channel> Open(const Node& node) = 0;
};

/// That of the kernel, unless another was named.
Transport& TheTransport();

/// Names another, which outlives its use; null names the kernel's again.
void UseTransport(Transport* transport);

} // namespace hid
