#pragma once

#include "recorder/Kind.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>

namespace recorder {

/// A record that ends too early, or is of no kind that there is.
class Malformed : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Takes one record apart, in the order in which it was put together. Throws Malformed where it has no such field; what
/// it gives belongs to the record.
class Reader
{
public:
    explicit Reader(std::span<const std::byte> record) : m_rest(record) {}

    recorder::Kind Kind()
    {
        const auto kind = Next();
        if (kind < static_cast<std::uint8_t>(recorder::Kind::LifeBegins) ||
            kind > static_cast<std::uint8_t>(recorder::Kind::LifeEnds)) {
            throw Malformed("a record of no known kind");
        }
        return static_cast<recorder::Kind>(kind);
    }

    std::uint64_t Unsigned()
    {
        constexpr unsigned int kBits = 64;
        std::uint64_t value = 0;
        for (unsigned int shift = 0; shift < kBits; shift += 7) {
            const std::uint8_t byte = Next();
            value |= static_cast<std::uint64_t>(byte & 0x7FU) << shift;
            if ((byte & 0x80U) == 0) {
                return value;
            }
        }
        throw Malformed("a number without an end");
    }

    std::int64_t Signed()
    {
        const std::uint64_t bits = Unsigned();
        return static_cast<std::int64_t>((bits & 1U) != 0 ? ~(bits >> 1U) : bits >> 1U);
    }

    /// Nothing where there was a null pointer.
    std::optional<std::span<const std::byte>> Bytes()
    {
        const std::uint64_t size = Unsigned();
        if (size == 0) {
            return std::nullopt;
        }
        if (size - 1 > m_rest.size()) {
            throw Malformed("a text that is longer than its record");
        }
        const auto bytes = m_rest.first(size - 1);
        m_rest = m_rest.subspan(size - 1);
        return bytes;
    }

    std::optional<std::string_view> Text()
    {
        const auto bytes = Bytes();
        if (!bytes) {
            return std::nullopt;
        }
        return std::string_view(reinterpret_cast<const char*>(bytes->data()), bytes->size());
    }

    [[nodiscard]] bool IsAtEnd() const
    {
        return m_rest.empty();
    }

private:
    std::uint8_t Next()
    {
        if (m_rest.empty()) {
            throw Malformed("a record that ends too early");
        }
        const auto byte = static_cast<std::uint8_t>(m_rest.front());
        m_rest = m_rest.subspan(1);
        return byte;
    }

    std::span<const std::byte> m_rest;
};

} // namespace recorder
