#include "tv/page/Viewer.h"

#include "tv/page/Message.h"

#include <libsoup/soup-websocket.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace page {

namespace {

/// After libsoup's own: our turn comes when it has handed everything to the kernel and the kernel has room.
constexpr int kAfterSending = G_PRIORITY_DEFAULT + 10;

} // namespace

Viewer::Viewer(front::Feed& feed, SoupWebsocketConnection* connection, GSocket* socket, std::function<void()> gone)
    : m_feed(feed),
      m_connection(static_cast<SoupWebsocketConnection*>(g_object_ref(connection))),
      m_socket(static_cast<GSocket*>(g_object_ref(socket))),
      m_gone(std::move(gone))
{
    // A longer message ends the connection; this leaves room to answer one that is merely too long.
    soup_websocket_connection_set_max_incoming_payload_size(connection, guint64{2} * kLongestMessage);
    m_handlers = {g_signal_connect(connection, "message", G_CALLBACK(OnMessage), this),
                  g_signal_connect(connection, "closed", G_CALLBACK(OnClosed), this)};
    Begins();
}

Viewer::~Viewer()
{
    for (const gulong handler : m_handlers) {
        g_signal_handler_disconnect(m_connection.get(), handler);
    }
    if (m_room) {
        g_source_destroy(m_room.get());
    }
    if (soup_websocket_connection_get_state(m_connection.get()) == SOUP_WEBSOCKET_STATE_OPEN) {
        soup_websocket_connection_close(m_connection.get(), SOUP_WEBSOCKET_CLOSE_GOING_AWAY, nullptr);
    }
}

void Viewer::Begins()
{
    m_isBeginning = true;
    m_subscription = m_feed.Subscribe([this](const std::string& object) { Hears(object); });
    m_isBeginning = false;
    m_most = m_bytes + kMostWaiting;
}

void Viewer::Hears(const std::string& object)
{
    if (!m_isBeginning && m_bytes + object.size() > m_most) {
        m_subscription.reset();
        m_waiting.clear();
        m_bytes = 0;
        return;
    }
    Waits(object);
}

void Viewer::Waits(std::string text)
{
    m_bytes += text.size() + 1;
    m_waiting.push_back(std::move(text) + '\n');
    AwaitsRoom();
}

void Viewer::AwaitsRoom()
{
    if (m_room) {
        return;
    }
    m_room.reset(g_socket_create_source(m_socket.get(), G_IO_OUT, nullptr));
    g_source_set_callback(m_room.get(), G_SOURCE_FUNC(OnWritable), this, nullptr);
    g_source_set_priority(m_room.get(), kAfterSending);
    g_source_attach(m_room.get(), nullptr);
}

gboolean Viewer::OnWritable(GSocket* /*socket*/, GIOCondition /*condition*/, gpointer self)
{
    auto* viewer = static_cast<Viewer*>(self);
    viewer->SendsSome();
    if (!viewer->m_subscription && viewer->m_waiting.empty()) {
        viewer->Begins();
    }
    if (!viewer->m_waiting.empty()) {
        return G_SOURCE_CONTINUE;
    }
    viewer->m_room.reset();
    return G_SOURCE_REMOVE;
}

void Viewer::SendsSome()
{
    std::string some;
    while (!m_waiting.empty() && (some.empty() || some.size() + m_waiting.front().size() <= kMostAtOnce)) {
        some += m_waiting.front();
        m_waiting.pop_front();
    }
    m_bytes -= some.size();
    if (!some.empty() && soup_websocket_connection_get_state(m_connection.get()) == SOUP_WEBSOCKET_STATE_OPEN) {
        GBytes* bytes = g_bytes_new(some.data(), some.size());
        soup_websocket_connection_send_message(m_connection.get(), SOUP_WEBSOCKET_DATA_TEXT, bytes);
        g_bytes_unref(bytes);
    }
}

void Viewer::Answers(const std::string& error)
{
    if (m_bytes <= m_most) { // else who says nonsense without reading the answers gets none
        Waits(ErrorObject(error));
    }
}

void Viewer::OnMessage(SoupWebsocketConnection* /*connection*/, int /*type*/, GBytes* message, Viewer* self)
{
    gsize size = 0;
    const auto* bytes = static_cast<const char*>(g_bytes_get_data(message, &size));
    const Message said = ReadMessage({bytes != nullptr ? bytes : "", size});
    if (said.error.empty()) {
        self->m_feed.Submit(said.line);
    } else {
        self->Answers(said.error);
    }
}

void Viewer::OnClosed(SoupWebsocketConnection* /*connection*/, Viewer* self)
{
    const std::function<void()> gone = self->m_gone;
    gone();
}

} // namespace page
