#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace page {

/// Who may come in. The page can do all that the prompt can, so it is for the browser of this machine's user alone, and
/// there only for the page itself: another site that is open in the same browser must not reach it, neither directly
/// nor under a name of its own that leads to the loopback.
class Door
{
public:
    /// \param port that the server listens at
    explicit Door(std::uint16_t port) : m_port(port) {}

    /// \param host as the browser says it, such as "127.0.0.1:8080"
    [[nodiscard]] bool IsOurs(std::string_view host) const;

    /// \param origin as the browser says it, such as "http://localhost:8080"; empty for a program that is no browser,
    ///        which could say what it likes and so is let in
    [[nodiscard]] bool MayFeed(std::string_view origin) const;

    /// What the browser has to hold the page to, for the answer's header Content-Security-Policy.
    /// \param host one that is ours
    [[nodiscard]] static std::string Policy(std::string_view host);

private:
    std::uint16_t m_port;
};

} // namespace page
