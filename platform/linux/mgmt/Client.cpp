#include "mgmt/Client.h"

#include "Log.h"
#include "mgmt/Bytes.h"
#include "mgmt/Sockets.h"
#include "settings/FileDescriptor.h"

#include <glib-unix.h>

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <utility>

namespace mgmt {

namespace {

constexpr std::size_t kMaxMessage = 6 + 65535;

struct Header
{
    std::uint16_t event;
    int index;
    std::span<const std::uint8_t> parameters;
};

/// Nothing when the message is not as long as it says.
std::optional<Header> Parse(std::span<const std::uint8_t> message)
{
    Reader reader(message);
    const auto event = reader.Word();
    const auto index = reader.Word();
    const auto length = reader.Word();
    if (!length || reader.Rest().size() < *length) {
        return std::nullopt;
    }
    return Header{*event, *index, reader.Rest().first(*length)};
}

/// The command that a reply is for, and the reply.
std::optional<std::pair<Command, Reply>> ParseReply(const Header& header)
{
    const auto event = static_cast<Event>(header.event);
    if (event != Event::CommandComplete && event != Event::CommandStatus) {
        return std::nullopt;
    }
    Reader reader(header.parameters);
    const auto command = reader.Word();
    const auto status = reader.Byte();
    if (!status) {
        return std::nullopt;
    }
    return std::pair(static_cast<Command>(*command), Reply{*status, {reader.Rest().begin(), reader.Rest().end()}});
}

} // namespace

bool Client::Open()
{
    if (IsOpen()) {
        return true;
    }
    m_socket = settings::FileDescriptor(TheSockets().OpenControl());
    if (!IsOpen()) {
        return false;
    }
    m_source.reset(g_unix_fd_source_new(m_socket.Get(), G_IO_IN));
    // GLib takes the function of each kind of source in one and the same shape.
    g_source_set_callback(m_source.get(), G_SOURCE_FUNC(OnReadable), this, nullptr);
    g_source_attach(m_source.get(), nullptr);
    return true;
}

void Client::Close()
{
    m_source.reset();
    m_backlogSource.reset();
    m_backlog.clear();
    m_pending.clear();
    m_socket = settings::FileDescriptor();
}

void Client::Choose(int index)
{
    m_index = index;
}

bool Client::Write(Command command, std::span<const std::uint8_t> parameters)
{
    if (!IsOpen() || m_index < 0) {
        return false;
    }
    Writer message;
    message.Word(static_cast<std::uint16_t>(command)).Word(static_cast<unsigned>(m_index));
    message.Word(static_cast<unsigned>(parameters.size())).Append(parameters);
    const auto size = static_cast<ssize_t>(message.Bytes().size());
    return send(m_socket.Get(), message.Bytes().data(), message.Bytes().size(), MSG_NOSIGNAL) == size;
}

bool Client::Send(Command command, std::span<const std::uint8_t> parameters, ReplyHandler handler)
{
    if (!Write(command, parameters)) {
        return false;
    }
    m_pending.push_back({command, m_index, std::move(handler)});
    return true;
}

std::optional<Reply> Client::SendAndWait(Command command, std::span<const std::uint8_t> parameters,
                                         const bus::Deadline& deadline)
{
    if (!Write(command, parameters)) {
        return std::nullopt;
    }
    while (!deadline.HasPassed()) {
        pollfd waiting{m_socket.Get(), POLLIN, 0};
        if (poll(&waiting, 1, deadline.RemainingMs()) < 0 && errno != EINTR) {
            break;
        }
        std::optional<Message> message = Read();
        if (!message) {
            continue;
        }
        if (message->empty()) {
            break;
        }
        if (std::optional<Reply> reply = ReplyTo(command, *message)) {
            return reply;
        }
        m_backlog.push_back(std::move(*message));
        if (!m_backlogSource) {
            m_backlogSource.reset(g_idle_source_new());
            g_source_set_priority(m_backlogSource.get(), G_PRIORITY_DEFAULT);
            g_source_set_callback(m_backlogSource.get(), OnBacklog, this, nullptr);
            g_source_attach(m_backlogSource.get(), nullptr);
        }
    }
    return std::nullopt;
}

std::optional<Client::Message> Client::Read() const
{
    std::array<std::uint8_t, kMaxMessage> buffer; // filled by recv
    const ssize_t size = recv(m_socket.Get(), buffer.data(), buffer.size(), 0);
    if (size < 0) {
        return errno == EAGAIN || errno == EINTR ? std::nullopt : std::optional(Message());
    }
    return Message(buffer.begin(), buffer.begin() + size);
}

std::optional<Reply> Client::ReplyTo(Command command, const Message& message) const
{
    const std::optional<Header> header = Parse(message);
    if (!header || header->index != m_index) {
        return std::nullopt;
    }
    std::optional<std::pair<Command, Reply>> reply = ParseReply(*header);
    if (!reply || reply->first != command) {
        return std::nullopt;
    }
    return std::move(reply->second);
}

gboolean Client::OnBacklog(gpointer self)
{
    auto& client = *static_cast<Client*>(self);
    client.m_backlogSource.reset();
    const std::deque<Message> backlog = std::exchange(client.m_backlog, {});
    for (const Message& message : backlog) {
        client.Handle(message);
    }
    return G_SOURCE_REMOVE;
}

gboolean Client::OnReadable(gint, GIOCondition, gpointer self)
{
    auto& client = *static_cast<Client*>(self);
    // What was put back while somebody waited came before what is to be read now.
    if (client.m_backlogSource) {
        OnBacklog(self);
    }
    if (!client.IsOpen()) {
        return G_SOURCE_REMOVE;
    }
    const std::optional<Message> message = client.Read();
    if (!message) {
        return G_SOURCE_CONTINUE;
    }
    if (message->empty()) {
        client.Lost();
        return G_SOURCE_REMOVE;
    }
    client.Handle(*message);
    return client.IsOpen() ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

void Client::Lost()
{
    PLATFORM_LOG(DLOG_ERROR, "the Bluetooth management channel is at its end");
    Close();
}

void Client::Handle(const Message& message)
{
    const std::optional<Header> header = Parse(message);
    if (!header) {
        PLATFORM_LOG(DLOG_WARN, "a Bluetooth management message is cut off after %zu bytes", message.size());
        return;
    }
    if (const std::optional<std::pair<Command, Reply>> reply = ParseReply(*header)) {
        HandleReply(header->index, reply->first, reply->second);
    } else if (header->index == m_index) {
        m_onEvent(static_cast<Event>(header->event), header->parameters);
    }
}

void Client::HandleReply(int index, Command command, const Reply& reply)
{
    for (auto pending = m_pending.begin(); pending != m_pending.end(); ++pending) {
        if (pending->command == command && pending->index == index) {
            const ReplyHandler handler = std::move(pending->handler);
            m_pending.erase(pending);
            handler(reply);
            return;
        }
    }
}

} // namespace mgmt
