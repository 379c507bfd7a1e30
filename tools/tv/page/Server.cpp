#include "tv/page/Server.h"

#include "tv/page/Files.h"
#include "tv/page/Viewer.h"

#include <gio/gio.h>

#include <libsoup/soup-message-body.h>
#include <libsoup/soup-message-headers.h>
#include <libsoup/soup-method.h>
#include <libsoup/soup-status.h>
#include <libsoup/soup-websocket-extension-deflate.h>

#include <stdexcept>
#include <string_view>

namespace page {

namespace {

constexpr const char* kFeed = "/feed";
constexpr const char* kLoopback = "127.0.0.1";
constexpr const char* kLoopback6 = "::1";
constexpr auto kPlain = static_cast<SoupServerListenOptions>(0);

using AddressPtr = std::unique_ptr<GSocketAddress, Util::ReleaseWith<g_object_unref>>;

[[noreturn]] void CannotListen(std::uint16_t port, const GError& error)
{
    const std::string number = std::to_string(port);
    if (g_error_matches(&error, G_IO_ERROR, G_IO_ERROR_ADDRESS_IN_USE) != FALSE) {
        throw std::runtime_error("port " + number +
                                 " is in use by another program; name another one with --port, or leave --port out and "
                                 "a free one is taken");
    }
    if (g_error_matches(&error, G_IO_ERROR, G_IO_ERROR_PERMISSION_DENIED) != FALSE) {
        throw std::runtime_error("port " + number +
                                 " is for root only; name one from 1024 on with --port, or leave --port out and a free "
                                 "one is taken");
    }
    throw std::runtime_error("the page cannot be shown at port " + number + ": " + error.message +
                             "; without a page, use --prompt-only");
}

/// \return the port
std::uint16_t Listen(SoupServer* server, std::uint16_t port)
{
    const AddressPtr address(g_inet_socket_address_new_from_string(kLoopback, port));
    GError* failure = nullptr;
    if (soup_server_listen(server, address.get(), kPlain, &failure) == FALSE) {
        const Util::ErrorPtr error(failure);
        CannotListen(port, *error);
    }
    GSList* uris = soup_server_get_uris(server);
    const auto taken = static_cast<std::uint16_t>(g_uri_get_port(static_cast<GUri*>(uris->data)));
    g_slist_free_full(uris, [](gpointer uri) { g_uri_unref(static_cast<GUri*>(uri)); });
    // For a browser that takes "localhost" for this; a machine without it is served all the same.
    const AddressPtr address6(g_inet_socket_address_new_from_string(kLoopback6, taken));
    soup_server_listen(server, address6.get(), kPlain, nullptr);
    return taken;
}

std::string_view Header(SoupServerMessage* message, const char* name)
{
    const char* value = soup_message_headers_get_one(soup_server_message_get_request_headers(message), name);
    return value != nullptr ? value : "";
}

void SetAnswer(SoupServerMessage* message, unsigned status, std::string_view type, std::string_view bytes)
{
    soup_server_message_set_status(message, status, nullptr);
    soup_server_message_set_response(message, std::string(type).c_str(), SOUP_MEMORY_COPY, bytes.data(), bytes.size());
}

/// What holds for each answer: it is for nobody but the page, and nobody keeps it.
void SetHeaders(SoupServerMessage* message)
{
    SoupMessageHeaders* headers = soup_server_message_get_response_headers(message);
    soup_message_headers_replace(headers, "Cache-Control", "no-store");
    soup_message_headers_replace(headers, "X-Content-Type-Options", "nosniff");
    soup_message_headers_replace(headers, "X-Frame-Options", "DENY");
    soup_message_headers_replace(headers, "Referrer-Policy", "no-referrer");
    soup_message_headers_replace(headers, "Cross-Origin-Opener-Policy", "same-origin");
    soup_message_headers_replace(headers, "Cross-Origin-Resource-Policy", "same-origin");
    soup_message_headers_replace(headers, "Content-Security-Policy", Door::Policy(Header(message, "Host")).c_str());
}

} // namespace

Server::Server(front::Feed& feed, std::uint16_t port)
    : m_feed(feed),
      m_server(soup_server_new(nullptr, nullptr)),
      m_port(Listen(m_server.get(), port)),
      m_door(m_port)
{
    // A small message could unpack to a huge one, and nothing is gained on the loopback.
    soup_server_remove_websocket_extension(m_server.get(), SOUP_TYPE_WEBSOCKET_EXTENSION_DEFLATE);
    // Early: a request is judged, and answered, before its body is read.
    soup_server_add_early_handler(m_server.get(), nullptr, OnRequest, this, nullptr);
    soup_server_add_early_handler(m_server.get(), kFeed, OnRequest, this, nullptr);
    soup_server_add_websocket_handler(m_server.get(), kFeed, nullptr, nullptr, OnFeed, this, nullptr);
}

Server::~Server()
{
    m_viewers.clear();
    soup_server_disconnect(m_server.get());
}

std::string Server::Address() const
{
    return std::string("http://") + kLoopback + ":" + std::to_string(m_port) + "/";
}

std::optional<Server::Refusal> Server::WhyNot(SoupServerMessage* message, bool isFeed) const
{
    if (!m_door.IsOurs(Header(message, "Host"))) {
        return Refusal{SOUP_STATUS_FORBIDDEN,
                       "This page is only for this machine, under the address that vyrel-tv printed.\n"};
    }
    const std::string_view method = soup_server_message_get_method(message);
    if (method != SOUP_METHOD_GET && method != SOUP_METHOD_HEAD) {
        return Refusal{SOUP_STATUS_METHOD_NOT_ALLOWED,
                       "Nothing is taken in this way; the page speaks through /feed.\n"};
    }
    if (!isFeed) {
        return std::nullopt;
    }
    if (!m_door.MayFeed(Header(message, "Origin"))) {
        return Refusal{SOUP_STATUS_FORBIDDEN, "Only the page of this television may speak to it, no other site.\n"};
    }
    if (m_viewers.size() >= kMostPages) {
        return Refusal{SOUP_STATUS_SERVICE_UNAVAILABLE, "Too many pages are open already; close one and try again.\n"};
    }
    if (g_ascii_strcasecmp(std::string(Header(message, "Upgrade")).c_str(), "websocket") != 0) {
        return Refusal{SOUP_STATUS_BAD_REQUEST, "This address is for the page's WebSocket; the page itself is at /.\n"};
    }
    return std::nullopt;
}

void Server::Refuses(SoupServerMessage* message, const Refusal& refusal)
{
    if (refusal.status == SOUP_STATUS_METHOD_NOT_ALLOWED) {
        soup_message_headers_replace(soup_server_message_get_response_headers(message), "Allow", "GET, HEAD");
    }
    soup_message_body_set_accumulate(soup_server_message_get_request_body(message), FALSE);
    SetAnswer(message, refusal.status, "text/plain; charset=utf-8", refusal.text);
}

void Server::OnRequest(SoupServer* /*server*/, SoupServerMessage* message, const char* path, GHashTable* /*query*/,
                       gpointer self)
{
    const auto* server = static_cast<const Server*>(self);
    const bool isFeed = std::string_view(path) == kFeed;
    const auto refusal = server->WhyNot(message, isFeed);
    if (refusal) {
        SetHeaders(message);
        Refuses(message, *refusal);
        return;
    }
    if (isFeed) {
        return; // it becomes a WebSocket
    }
    SetHeaders(message);
    if (const auto file = FindFile(path)) {
        SetAnswer(message, SOUP_STATUS_OK, file->type, file->bytes);
    } else {
        Refuses(message, {SOUP_STATUS_NOT_FOUND, "There is no such page; the television is at /.\n"});
    }
}

void Server::OnFeed(SoupServer* /*server*/, SoupServerMessage* message, const char* /*path*/,
                    SoupWebsocketConnection* connection, gpointer self)
{
    auto* server = static_cast<Server*>(self);
    const auto place = server->m_viewers.emplace(server->m_viewers.end());
    *place = std::make_unique<Viewer>(server->m_feed, connection, soup_server_message_get_socket(message),
                                      [server, place] { server->m_viewers.erase(place); });
}

} // namespace page
