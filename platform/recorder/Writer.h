#pragma once

#include "recorder/Kind.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

namespace recorder {

/// Puts one record together, in a room that is kept for the next.
class Writer
{
public:
    void Begin(Kind kind)
    {
        m_size = 0;
        Byte(static_cast<std::uint8_t>(kind));
    }

    void Unsigned(std::uint64_t value)
    {
        constexpr std::size_t kLongest = 10; // bytes of a number
        Reserve(kLongest);
        constexpr std::uint64_t kMore = 0x80;
        while (value >= kMore) {
            m_room[m_size++] = static_cast<std::byte>(value | kMore);
            value >>= 7U;
        }
        m_room[m_size++] = static_cast<std::byte>(value);
    }

    void Signed(std::int64_t value)
    {
        const auto bits = static_cast<std::uint64_t>(value);
        Unsigned(value < 0 ? ~(bits << 1U) : bits << 1U);
    }

    void Bytes(const void* data, std::size_t size)
    {
        if (data == nullptr) {
            Unsigned(0);
            return;
        }
        Unsigned(size + 1);
        std::memcpy(Room(size), data, size);
    }

    void Text(const char* text)
    {
        Bytes(text, text != nullptr ? std::strlen(text) : 0);
    }

    void Text(std::string_view text)
    {
        Bytes(text.data() != nullptr ? text.data() : "", text.size());
    }

    /// \return room for \p size bytes that are to be filled at once, behind what is there
    std::byte* Room(std::size_t size)
    {
        Reserve(size);
        m_size += size;
        return m_room.data() + (m_size - size);
    }

    [[nodiscard]] std::span<const std::byte> Record() const
    {
        return {m_room.data(), m_size};
    }

private:
    void Byte(std::uint8_t value)
    {
        *Room(1) = static_cast<std::byte>(value);
    }

    void Reserve(std::size_t more)
    {
        if (m_room.size() - m_size < more) {
            m_room.resize((m_size + more) * 2);
        }
    }

    std::vector<std::byte> m_room = std::vector<std::byte>(4096);
    std::size_t m_size = 0;
};

} // namespace recorder
