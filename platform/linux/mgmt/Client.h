#pragma once

#include "bus/Deadline.h"
#include "bus/Handles.h"
#include "mgmt/Bytes.h"
#include "mgmt/Protocol.h"

#include <glib.h>

#include <settings/FileDescriptor.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace mgmt {

/// What the kernel says about a command.
struct Reply
{
    std::uint8_t status = 0; ///< a Status
    std::vector<std::uint8_t> parameters;
};

/// The kernel's management channel: commands to one controller, events of it.
///
/// Only a process with CAP_NET_ADMIN is told of devices and may ask for them; one without it gets "permission denied",
/// and few events. A message that is cut off is dropped.
class Client
{
public:
    using EventHandler = std::function<void(Event event, std::span<const std::uint8_t> parameters)>;
    using ReplyHandler = std::function<void(const Reply& reply)>;

    /// \param onEvent told of the events of the chosen controller, on the main loop
    explicit Client(EventHandler onEvent) : m_onEvent(std::move(onEvent)) {}
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// \return whether there is a channel; one that was open stays
    bool Open();
    void Close();
    [[nodiscard]] bool IsOpen() const
    {
        return m_socket.IsOpen();
    }

    /// Speaks of this controller from now on: -1 for none.
    void Choose(int index);

    /// \return whether the command went out; then \p handler is told the reply, on the main loop, unless the channel
    ///         goes before
    bool Send(Command command, std::span<const std::uint8_t> parameters, ReplyHandler handler);

    /// Waits for the reply. What the kernel tells meanwhile is handled later, on the main loop.
    /// \return nothing when there was no channel or no reply in time
    std::optional<Reply> SendAndWait(Command command, std::span<const std::uint8_t> parameters,
                                     const bus::Deadline& deadline);

private:
    struct Pending
    {
        Command command;
        int index;
        ReplyHandler handler;
    };
    using Message = std::vector<std::uint8_t>;

    static gboolean OnReadable(gint descriptor, GIOCondition condition, gpointer self);
    static gboolean OnBacklog(gpointer self);

    bool Write(Command command, std::span<const std::uint8_t> parameters);
    /// \return nothing when there is none now; an empty message when the channel is at its end
    std::optional<Message> Read() const;
    void Handle(const Message& message);
    void HandleReply(int index, Command command, const Reply& reply);
    /// The reply in a message, if it is the one to this command.
    [[nodiscard]] std::optional<Reply> ReplyTo(Command command, const Message& message) const;
    void Lost();

    EventHandler m_onEvent;
    settings::FileDescriptor m_socket;
    bus::SourcePtr m_source;
    bus::SourcePtr m_backlogSource;
    std::deque<Message> m_backlog;
    std::list<Pending> m_pending;
    int m_index = -1;
};

} // namespace mgmt
