#include "hci/Controller.h"

#include "mgmt/Bytes.h"
#include "mgmt/Sockets.h"
#include "settings/FileDescriptor.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <array>
#include <cerrno>
#include <cstddef>

namespace hci {

namespace {

// The packet's kinds, the commands and the events are those of the Bluetooth Core Specification, volume 4 part E.
constexpr unsigned kCommandPacket = 0x01;
constexpr unsigned kEventPacket = 0x04;
constexpr std::uint8_t kCommandComplete = 0x0E;
constexpr std::uint8_t kCommandStatus = 0x0F;

constexpr std::uint16_t kExitSniffMode = 0x0804;
constexpr std::uint16_t kWriteLinkPolicy = 0x080D;
constexpr std::uint16_t kReadInquiryResponse = 0x0C51;
constexpr std::uint16_t kWriteInquiryResponse = 0x0C52;
constexpr std::uint16_t kReadLocalVersion = 0x1001;
constexpr std::uint16_t kLeConnectionUpdate = 0x2013;

constexpr std::size_t kInquiryResponseSize = 240;
constexpr std::uint8_t kManufacturerDataType = 0xFF;

// What remotes of this kind ask for themselves: an event each 7.5 to 15 ms, 30 of which may be slept through.
constexpr unsigned kShortestInterval = 6; // 1.25 ms each
constexpr unsigned kLongestInterval = 12;
constexpr unsigned kUsualLatency = 30;
constexpr unsigned kSupervision = 300; // 10 ms each
constexpr unsigned kPolicyRoleSwitch = 0x0001;
constexpr unsigned kPolicySniff = 0x0004;

struct Answer
{
    std::uint8_t status;
    std::vector<std::uint8_t> parameters;
};

std::optional<Answer> AnswerTo(std::uint16_t opcode, std::span<const std::uint8_t> packet)
{
    mgmt::Reader reader(packet);
    const auto kind = reader.Byte();
    const auto event = reader.Byte();
    const auto length = reader.Byte();
    if (!length || *kind != kEventPacket) {
        return std::nullopt;
    }
    if (*event == kCommandComplete) {
        reader.Byte(); // how many commands the controller would take
        const auto which = reader.Word();
        const auto status = reader.Byte();
        if (status && *which == opcode) {
            return Answer{*status, {reader.Rest().begin(), reader.Rest().end()}};
        }
    } else if (*event == kCommandStatus) {
        const auto status = reader.Byte();
        reader.Byte();
        const auto which = reader.Word();
        if (which && *which == opcode) {
            return Answer{*status, {}};
        }
    }
    return std::nullopt;
}

} // namespace

Controller::Controller(int index) : m_index(index), m_socket(index >= 0 ? mgmt::TheSockets().OpenRaw(index) : -1) {}

std::optional<Controller::Bytes> Controller::Command(std::uint16_t opcode, std::span<const std::uint8_t> parameters,
                                                     const bus::Deadline& deadline) const
{
    mgmt::Writer command;
    command.Byte(kCommandPacket).Word(opcode).Byte(static_cast<unsigned>(parameters.size())).Append(parameters);
    const auto size = static_cast<ssize_t>(command.Bytes().size());
    if (!IsOpen() || send(m_socket.Get(), command.Bytes().data(), command.Bytes().size(), MSG_NOSIGNAL) != size) {
        return std::nullopt;
    }
    while (!deadline.HasPassed()) {
        pollfd waiting{m_socket.Get(), POLLIN, 0};
        if (poll(&waiting, 1, deadline.RemainingMs()) < 0 && errno != EINTR) {
            break;
        }
        std::array<std::uint8_t, 512> packet{};
        const ssize_t received = recv(m_socket.Get(), packet.data(), packet.size(), 0);
        if (received == 0 || (received < 0 && errno != EAGAIN && errno != EINTR)) {
            break;
        }
        if (received < 0) {
            continue;
        }
        const std::span<const std::uint8_t> bytes(packet.data(), static_cast<std::size_t>(received));
        if (const std::optional<Answer> answer = AnswerTo(opcode, bytes)) {
            return answer->status == 0 ? std::optional(answer->parameters) : std::nullopt;
        }
    }
    return std::nullopt;
}

std::optional<std::uint32_t> Controller::Version(const bus::Deadline& deadline)
{
    const std::optional<Bytes> answer = Command(kReadLocalVersion, {}, deadline);
    if (!answer) {
        return std::nullopt;
    }
    mgmt::Reader reader(*answer);
    reader.Byte(); // the version of the interface
    const auto revision = reader.Word();
    reader.Byte(); // the version of the link manager
    reader.Word(); // the maker
    const auto subversion = reader.Word();
    return subversion ? std::optional(std::uint32_t{*revision} << 16U | *subversion) : std::nullopt;
}

bool Controller::SetManufacturerData(std::span<const std::uint8_t> manufacturerData, const bus::Deadline& deadline)
{
    const std::optional<Bytes> answer = Command(kReadInquiryResponse, {}, deadline);
    if (!answer || answer->size() < 1 + kInquiryResponseSize) {
        return false;
    }
    const std::span<const std::uint8_t> present(*answer);
    const auto wanted = WithManufacturerData(present.subspan(1, kInquiryResponseSize), manufacturerData);
    if (!wanted) {
        return false;
    }
    mgmt::Writer parameters;
    parameters.Byte(present[0]).Append(*wanted); // the first byte: whether the response is protected against errors
    return Command(kWriteInquiryResponse, parameters.Bytes(), deadline).has_value();
}

Controller::Outcome Controller::SetNoLatency(const bluez::AddressBytes& address, bool isLe, bool on,
                                             const bus::Deadline& deadline)
{
    if (!IsOpen()) {
        return Outcome::Failed;
    }
    const auto handle = mgmt::TheSockets().Handle(m_socket.Get(), m_index, address, isLe);
    if (!handle) {
        return Outcome::NotConnected;
    }
    mgmt::Writer parameters;
    parameters.Word(*handle);
    if (isLe) {
        parameters.Word(kShortestInterval).Word(kLongestInterval).Word(on ? 0 : kUsualLatency).Word(kSupervision);
        parameters.Word(0).Word(0); // no hint about the length of an event
        return Command(kLeConnectionUpdate, parameters.Bytes(), deadline) ? Outcome::Done : Outcome::Failed;
    }
    if (on) {
        // Refused for a link that is not in sniff mode, which is as good.
        Command(kExitSniffMode, parameters.Bytes(), deadline);
    }
    parameters.Word(on ? kPolicyRoleSwitch : kPolicyRoleSwitch | kPolicySniff);
    return Command(kWriteLinkPolicy, parameters.Bytes(), deadline) ? Outcome::Done : Outcome::Failed;
}

std::optional<std::vector<std::uint8_t>> WithManufacturerData(std::span<const std::uint8_t> present,
                                                              std::span<const std::uint8_t> manufacturerData)
{
    std::vector<std::uint8_t> response;
    for (std::size_t at = 0; at < present.size() && present[at] != 0;) {
        const std::size_t size = 1U + present[at];
        if (size < 2 || at + size > present.size()) {
            break; // a part that goes beyond the end, and all after it, is of no use to anybody
        }
        if (present[at + 1] != kManufacturerDataType) {
            const auto part = present.subspan(at, size);
            response.insert(response.end(), part.begin(), part.end());
        }
        at += size;
    }
    if (response.size() + 2 + manufacturerData.size() > kInquiryResponseSize) {
        return std::nullopt;
    }
    response.push_back(static_cast<std::uint8_t>(1 + manufacturerData.size()));
    response.push_back(kManufacturerDataType);
    response.insert(response.end(), manufacturerData.begin(), manufacturerData.end());
    response.resize(kInquiryResponseSize);
    return response;
}

} // namespace hci
