#include "tv/page/Door.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace page {

namespace {

constexpr std::string_view kScheme = "http://";
constexpr std::uint16_t kPortOfHttp = 80;
constexpr std::array<std::string_view, 3> kNames = {"127.0.0.1", "localhost", "[::1]"};

bool IsSame(std::string_view one, std::string_view other)
{
    return std::ranges::equal(one, other, [](unsigned char a, unsigned char b) { return std::tolower(a) == b; });
}

} // namespace

bool Door::IsOurs(std::string_view host) const
{
    const std::string port = ":" + std::to_string(m_port);
    return std::ranges::any_of(kNames, [&](std::string_view name) {
        return IsSame(host, std::string(name) + port) || (m_port == kPortOfHttp && IsSame(host, name));
    });
}

bool Door::MayFeed(std::string_view origin) const
{
    return origin.empty() ||
           (IsSame(origin.substr(0, kScheme.size()), kScheme) && IsOurs(origin.substr(kScheme.size())));
}

std::string Door::Policy(std::string_view host)
{
    // Not every browser takes 'self' for the WebSocket too; an address in brackets has no place in a policy.
    const std::string feed = host.starts_with('[') ? "" : " ws://" + std::string(host);
    return "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'" + feed +
           "; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; require-trusted-types-for 'script'";
}

} // namespace page
