#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

/// What each function and callback is handed and gives: the names and shapes of the fields of a recording.
namespace recorder {

enum class Shape : std::uint8_t
{
    Signed,
    Unsigned,
    Flag,     ///< unsigned, 0 or 1
    Text,     ///< or none
    Bytes,    ///< or none
    Record,   ///< or none; with fields of its own
    Callback, ///< unsigned: the number of a function of the service among those of this type, from 1; 0 for none
    Variant,  ///< a value of the bus, or none
    Presence  ///< unsigned: whether there was something (1) that cannot be looked into
};

struct Field
{
    std::string_view name;
    Shape shape;
    std::string_view type; ///< of an enumeration, a record or a callback, as C has it
    std::span<const Field> fields;
};

struct Signature
{
    std::string_view name;
    std::span<const Field> arguments;
    std::span<const Field> given; ///< the result, if it has one, and the outputs
    bool hasResult;
    bool givesOnlyOnSuccess; ///< outputs follow only a result of 0
};

/// By their number in Functions.h.
std::span<const Signature> Functions();
std::span<const Signature> Callbacks();

/// Changes whenever one of them does.
std::uint64_t SchemaId();

} // namespace recorder
