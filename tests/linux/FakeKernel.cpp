#include "linux/FakeKernel.h"

#include "mgmt/Bytes.h"

#include <glib-unix.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <span>
#include <stdexcept>
#include <utility>

namespace linux_test {

namespace {

std::string Text(const char* kind, unsigned code, std::span<const std::uint8_t> parameters)
{
    std::array<char, 16> part{};
    std::snprintf(part.data(), part.size(), "%s %04x", kind, code);
    std::string text = part.data();
    for (const std::uint8_t byte : parameters) {
        std::snprintf(part.data(), part.size(), " %02x", byte);
        text += part.data();
    }
    return text;
}

Bytes Received(int descriptor)
{
    std::array<std::uint8_t, 4096> buffer{};
    const ssize_t size = recv(descriptor, buffer.data(), buffer.size(), 0);
    return size > 0 ? Bytes(buffer.begin(), buffer.begin() + size) : Bytes();
}

void Write(int descriptor, const Bytes& message)
{
    (void)!send(descriptor, message.data(), message.size(), MSG_NOSIGNAL);
}

Bytes Message(mgmt::Event event, int index, const Bytes& parameters)
{
    mgmt::Writer message;
    message.Word(static_cast<unsigned>(event)).Word(static_cast<unsigned>(index));
    message.Word(static_cast<unsigned>(parameters.size())).Append(parameters);
    return message.Bytes();
}

} // namespace

Bytes AddressAnd(const std::string& address, std::uint8_t type, const Bytes& more)
{
    mgmt::Writer bytes;
    bytes.Append(bluez::BytesOf(address)).Byte(type).Append(more);
    return bytes.Bytes();
}

FakeKernel::FakeKernel()
{
    mgmt::UseSockets(this);
}

FakeKernel::~FakeKernel()
{
    mgmt::UseSockets(nullptr);
    m_thread.Run([this] {
        for (const int descriptor : m_descriptors) {
            close(descriptor);
        }
    });
}

void FakeKernel::Answers(mgmt::Command command, std::uint8_t status, Bytes parameters)
{
    m_thread.Run([&] { m_replies[command] = Reply{status, std::move(parameters)}; });
}

void FakeKernel::Ignores(mgmt::Command command)
{
    m_thread.Run([&] { m_replies[command] = std::nullopt; });
}

void FakeKernel::AnswersRaw(std::uint16_t opcode, std::uint8_t status, Bytes parameters)
{
    m_thread.Run([&] { m_rawReplies[opcode] = Reply{status, std::move(parameters)}; });
}

void FakeKernel::HasNoControl()
{
    m_thread.Run([&] { m_hasControl = false; });
}

void FakeKernel::HasNoRaw()
{
    m_thread.Run([&] { m_hasRaw = false; });
}

void FakeKernel::HasHandle(std::uint16_t handle)
{
    m_thread.Run([&] { m_handle = handle; });
}

void FakeKernel::Tells(mgmt::Event event, const Bytes& parameters, int index)
{
    Sends(Message(event, index, parameters));
}

void FakeKernel::Sends(const Bytes& message)
{
    m_thread.Run([&] { Write(m_control, message); });
}

void FakeKernel::Ends()
{
    m_thread.Run([&] { shutdown(m_control, SHUT_RDWR); });
}

std::vector<std::string> FakeKernel::Commands()
{
    std::vector<std::string> commands;
    m_thread.Run([&] { commands = m_commands; });
    return commands;
}

int FakeKernel::Pair(gboolean (*onReadable)(gint, GIOCondition, gpointer), int& own)
{
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) != 0) {
        throw std::runtime_error("no pair of sockets");
    }
    own = ends[1];
    m_descriptors.push_back(own);
    GSource* source = g_unix_fd_source_new(own, G_IO_IN);
    g_source_set_callback(source, G_SOURCE_FUNC(onReadable), this, nullptr);
    g_source_attach(source, m_thread.Context().get());
    g_source_unref(source);
    return ends[0];
}

int FakeKernel::OpenControl()
{
    int descriptor = -1;
    m_thread.Run([&] {
        errno = EAFNOSUPPORT;
        descriptor = m_hasControl ? Pair(OnControl, m_control) : -1;
    });
    return descriptor;
}

int FakeKernel::OpenRaw(int)
{
    int descriptor = -1;
    m_thread.Run([&] {
        int own = -1;
        errno = EPERM;
        descriptor = m_hasRaw ? Pair(OnRaw, own) : -1;
    });
    return descriptor;
}

std::optional<std::uint16_t> FakeKernel::Handle(int, int, const bluez::AddressBytes&, bool)
{
    std::optional<std::uint16_t> handle;
    m_thread.Run([&] { handle = m_handle; });
    return handle;
}

gboolean FakeKernel::OnControl(gint descriptor, GIOCondition, gpointer self)
{
    auto& kernel = *static_cast<FakeKernel*>(self);
    const Bytes message = Received(descriptor);
    if (message.empty()) {
        return G_SOURCE_REMOVE;
    }
    mgmt::Reader reader(message);
    const unsigned code = reader.Word().value_or(0);
    const int index = reader.Word().value_or(0);
    reader.Word();
    kernel.m_commands.push_back(Text("mgmt", code, reader.Rest()));
    const auto known = kernel.m_replies.find(static_cast<mgmt::Command>(code));
    const bool isKnown = known != kernel.m_replies.end();
    if (isKnown && !known->second) {
        return G_SOURCE_CONTINUE;
    }
    const Reply reply = isKnown ? *known->second : Reply{mgmt::kPermissionDenied, {}};
    mgmt::Writer parameters;
    parameters.Word(code).Byte(reply.status).Append(reply.parameters);
    const bool isStatus = reply.status != mgmt::kSuccess && reply.parameters.empty();
    Write(descriptor,
          Message(isStatus ? mgmt::Event::CommandStatus : mgmt::Event::CommandComplete, index, parameters.Bytes()));
    return G_SOURCE_CONTINUE;
}

gboolean FakeKernel::OnRaw(gint descriptor, GIOCondition, gpointer self)
{
    auto& kernel = *static_cast<FakeKernel*>(self);
    const Bytes message = Received(descriptor);
    if (message.empty()) {
        return G_SOURCE_REMOVE;
    }
    mgmt::Reader reader(message);
    reader.Byte();
    const unsigned code = reader.Word().value_or(0);
    reader.Byte();
    kernel.m_commands.push_back(Text("hci", code, reader.Rest()));
    const auto known = kernel.m_rawReplies.find(static_cast<std::uint16_t>(code));
    if (known == kernel.m_rawReplies.end()) {
        return G_SOURCE_CONTINUE;
    }
    mgmt::Writer event;
    event.Byte(4).Byte(0x0E).Byte(static_cast<unsigned>(4 + known->second.parameters.size()));
    event.Byte(1).Word(code).Byte(known->second.status).Append(known->second.parameters);
    Write(descriptor, event.Bytes());
    return G_SOURCE_CONTINUE;
}

} // namespace linux_test
