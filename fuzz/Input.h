#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace fuzz {

using Bytes = std::span<const std::uint8_t>;

/// What a target is given, taken piece by piece. Behind its end are zeros and empty texts.
class Input
{
public:
    Input(const std::uint8_t* data, std::size_t size) : m_rest(reinterpret_cast<const char*>(data), size) {}

    [[nodiscard]] bool IsAtEnd() const
    {
        return m_rest.empty();
    }

    char Letter()
    {
        const char letter = m_rest.empty() ? '\0' : m_rest.front();
        m_rest.remove_prefix(m_rest.empty() ? 0 : 1);
        return letter;
    }

    std::uint8_t Byte()
    {
        return static_cast<std::uint8_t>(Letter());
    }

    /// The number of one digit, so that inputs stay text; any other byte counts by its distance from '0'.
    int Digit()
    {
        return static_cast<signed char>(Byte() - '0');
    }

    /// All up to \p end, which is taken too, or to the end of the input.
    std::string Until(char end)
    {
        const std::size_t size = m_rest.find(end);
        std::string text(m_rest.substr(0, size));
        m_rest.remove_prefix(size == std::string_view::npos ? m_rest.size() : size + 1);
        return text;
    }

    [[nodiscard]] std::string_view Rest() const
    {
        return m_rest;
    }
    [[nodiscard]] Bytes RestAsBytes() const
    {
        return {reinterpret_cast<const std::uint8_t*>(m_rest.data()), m_rest.size()};
    }

private:
    std::string_view m_rest;
};

} // namespace fuzz
