#pragma once

#include "GlibPointers.h"
#include "tv/front/Feed.h"

#include <gio/gio.h>

#include <libsoup/soup-websocket-connection.h>
#include <libsoup/soup.h>

#include <array>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>

namespace page {

/// One page that is open: it is told all that happens, and what it says goes to the feed.
///
/// A browser may stop reading, as one does with a page in the background. What waits for it is bounded: then it is
/// told nothing more until it has read all that was sent, and after that everything anew, beginning with the greeting.
class Viewer
{
public:
    /// \param connection of the browser, opened
    /// \param socket     that it goes through
    /// \param gone       called once, when the browser is gone; this viewer may be destroyed in it
    Viewer(front::Feed& feed, SoupWebsocketConnection* connection, GSocket* socket, std::function<void()> gone);
    ~Viewer();
    Viewer(const Viewer&) = delete;
    Viewer& operator=(const Viewer&) = delete;

    static constexpr std::size_t kMostWaiting = std::size_t{16} * 1024 * 1024; ///< bytes beyond what a page begins with
    static constexpr std::size_t kMostAtOnce = std::size_t{64} * 1024;         ///< bytes handed over to be sent

private:
    static void OnMessage(SoupWebsocketConnection* connection, int type, GBytes* message, Viewer* self);
    static void OnClosed(SoupWebsocketConnection* connection, Viewer* self);
    static gboolean OnWritable(GSocket* socket, GIOCondition condition, gpointer self);

    void Begins();
    void Hears(const std::string& object);
    void Answers(const std::string& error);
    void Waits(std::string text);
    void SendsSome();
    void AwaitsRoom();

    front::Feed& m_feed;
    std::unique_ptr<SoupWebsocketConnection, Util::ReleaseWith<g_object_unref>> m_connection;
    std::unique_ptr<GSocket, Util::ReleaseWith<g_object_unref>> m_socket;
    std::unique_ptr<GSource, Util::ReleaseWith<g_source_unref>> m_room; ///< while something waits
    std::array<gulong, 2> m_handlers{};
    std::function<void()> m_gone;
    front::Feed::Subscription m_subscription; ///< none while the browser is too far behind
    std::deque<std::string> m_waiting;        ///< objects, each with a line end
    std::size_t m_bytes = 0;                  ///< of all that wait
    std::size_t m_most = 0;                   ///< of them
    bool m_isBeginning = false;
};

} // namespace page
