#pragma once

#include "bluez/Address.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace mgmt {

/// Takes values off the front of a message. A message that is too short gives nothing from there on.
class Reader
{
public:
    explicit Reader(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

    std::optional<std::uint8_t> Byte()
    {
        const auto part = Take(1);
        return part ? std::optional((*part)[0]) : std::nullopt;
    }

    std::optional<std::uint16_t> Word()
    {
        const auto part = Take(2);
        return part ? std::optional(static_cast<std::uint16_t>((*part)[0] | (*part)[1] << 8U)) : std::nullopt;
    }

    std::optional<bluez::AddressBytes> Address()
    {
        const auto part = Take(bluez::AddressBytes().size());
        if (!part) {
            return std::nullopt;
        }
        bluez::AddressBytes address{};
        std::size_t i = 0;
        for (const std::uint8_t byte : *part) {
            address.at(i++) = byte;
        }
        return address;
    }

    /// Nothing is left of a message that was too short.
    std::optional<std::span<const std::uint8_t>> Take(std::size_t count)
    {
        if (m_bytes.size() < count) {
            m_bytes = {};
            return std::nullopt;
        }
        const auto part = m_bytes.first(count);
        m_bytes = m_bytes.subspan(count);
        return part;
    }

    [[nodiscard]] std::span<const std::uint8_t> Rest() const
    {
        return m_bytes;
    }

private:
    std::span<const std::uint8_t> m_bytes;
};

/// Puts values at the end of a message.
class Writer
{
public:
    Writer& Byte(unsigned value)
    {
        m_bytes.push_back(static_cast<std::uint8_t>(value));
        return *this;
    }
    Writer& Word(unsigned value)
    {
        return Byte(value & 0xFFU).Byte(value >> 8U & 0xFFU);
    }
    Writer& Append(std::span<const std::uint8_t> bytes)
    {
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        return *this;
    }
    [[nodiscard]] const std::vector<std::uint8_t>& Bytes() const
    {
        return m_bytes;
    }

private:
    std::vector<std::uint8_t> m_bytes;
};

} // namespace mgmt
