#pragma once

#include "recorder/Functions.h"
#include "recorder/Kind.h"
#include "recorder/Schema.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace recorder {

/// One field of a record, with what was in it.
struct Value
{
    const Field* field = nullptr;
    bool isThere = true;        ///< false for no text, no bytes, no record, no value of the bus
    std::int64_t number = 0;    ///< of every shape that is a number
    std::string text;           ///< a text; the type of a value of the bus, as its signature
    std::string bytes;          ///< bytes; a value of the bus as GLib stores it
    std::vector<Value> members; ///< of a record

    bool operator==(const Value&) const = default;
};

/// One record, taken apart. Which members mean something depends on its kind; the others are as they are here.
struct Decoded
{
    Kind kind = Kind::Lost;
    /// Call, Return: which function; Input, Enters, Leaves: which type of callback.
    std::size_t number = 0;
    const Signature* signature = nullptr; ///< of that
    std::int64_t instant = 0;             ///< of an Input: microseconds since the life began
    std::uint64_t slot = 0;               ///< of an Input and Enters
    std::uint64_t since = 0;              ///< the same
    std::vector<Value> values;            ///< arguments; for Return and Leaves what was given, the result first

    std::uint64_t format = 0; ///< LifeBegins; of another format, nothing else of it is read
    std::uint64_t schema = 0;
    std::string service;
    bool hasZone = false; ///< whether the variable TZ was there
    std::string zone;
    std::string root;
    std::int64_t wall = 0; ///< microseconds of Unix time

    std::uint64_t priority = 0; ///< Log, as dlog.h has it
    std::string tag;
    std::string text; ///< Log: the line; Lost: what is

    std::int64_t status = 0; ///< LifeEnds

    [[nodiscard]] bool Is(Function function) const
    {
        return (kind == Kind::Call || kind == Kind::Return) && number == static_cast<std::size_t>(function);
    }
    [[nodiscard]] bool Is(Callback callback) const
    {
        return (kind == Kind::Input || kind == Kind::Enters || kind == Kind::Leaves) &&
               number == static_cast<std::size_t>(callback);
    }

    bool operator==(const Decoded&) const = default;
};

/// Throws Malformed for what is no record of this schema.
Decoded Decode(std::span<const std::byte> record);

/// The record that was taken apart; Decode() of it gives the same again.
std::vector<std::byte> Encode(const Decoded& decoded);

} // namespace recorder
