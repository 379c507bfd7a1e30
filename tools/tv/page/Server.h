#pragma once

#include "GlibPointers.h"
#include "tv/front/Feed.h"
#include "tv/page/Door.h"

#include <gio/gio.h>

#include <libsoup/soup-server-message.h>
#include <libsoup/soup-server.h>
#include <libsoup/soup-websocket-connection.h>
#include <libsoup/soup.h>

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace page {

class Viewer;

/// Shows the television on the desk to the browsers of this machine, on the main loop's thread.
///
/// A page loads its files from here, which are part of the program, and opens a WebSocket at /feed. A message to the
/// page is objects of the feed, one a line; a message from it is `{"line":"…"}`. What is no such message is answered by
/// `{"error":"…"}` with what to do instead.
///
/// A child that is forked while it stands shares its sockets: it must close them, else the port stays taken after this
/// process.
class Server
{
public:
    /// Listens before it returns, at the loopback only.
    /// \param port 0 for any that is free
    /// Throws std::runtime_error with a text for the person who started the program when it cannot listen there.
    explicit Server(front::Feed& feed, std::uint16_t port = 0);
    /// Takes leave of all pages.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Where the page is, for a person: "http://127.0.0.1:8080/"
    [[nodiscard]] std::string Address() const;

    static constexpr std::size_t kMostPages = 32; ///< at once; each keeps what its browser has not read yet

private:
    static void OnRequest(SoupServer* server, SoupServerMessage* message, const char* path, GHashTable* query,
                          gpointer self);
    static void OnFeed(SoupServer* server, SoupServerMessage* message, const char* path,
                       SoupWebsocketConnection* connection, gpointer self);

    /// Why a request is not served.
    struct Refusal
    {
        unsigned status;
        const char* text; ///< for who sees it in the browser
    };
    std::optional<Refusal> WhyNot(SoupServerMessage* message, bool isFeed) const;
    static void Refuses(SoupServerMessage* message, const Refusal& refusal);

    front::Feed& m_feed;
    std::unique_ptr<SoupServer, Util::ReleaseWith<g_object_unref>> m_server;
    std::uint16_t m_port;
    Door m_door;
    std::list<std::unique_ptr<Viewer>> m_viewers;
};

} // namespace page
