#include "recorder/InWords.h"

#include "recorder/Body.h"
#include "recorder/Kind.h"
#include "recorder/Schema.h"

#include <glib.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string_view>
#include <vector>

namespace recorder {

namespace {

std::string Quoted(const std::string& text)
{
    const std::unique_ptr<gchar, decltype(&g_free)> escaped(g_strescape(text.c_str(), nullptr), g_free);
    const std::unique_ptr<gchar, decltype(&g_free)> valid(g_utf8_make_valid(text.c_str(), -1), g_free);
    // What can be read by people is left as it is.
    const bool isReadable = valid.get() == text && text.find_first_of("\n\r\t\"\\\x1b") == std::string::npos;
    return '"' + (isReadable ? text : std::string(escaped.get())) + '"';
}

std::string Hexadecimal(const std::string& bytes)
{
    constexpr const char* kDigits = "0123456789abcdef";
    constexpr std::size_t kShown = 64;
    std::string text = "[";
    for (std::size_t index = 0; index < bytes.size() && index < kShown; ++index) {
        const auto byte = static_cast<unsigned char>(bytes[index]);
        text += index > 0 ? " " : "";
        text += kDigits[byte / 16];
        text += kDigits[byte % 16];
    }
    return text + (bytes.size() > kShown ? " ...]" : "]");
}

/// Bytes that are a text, as files have, are shown as one.
std::string BytesInWords(const std::string& bytes)
{
    const bool isText = !bytes.empty() && g_utf8_validate(bytes.data(), static_cast<gssize>(bytes.size()), nullptr) &&
                        bytes.find_first_of(std::string_view("\0\x01\x02\x03\x04\x05\x06\x07", 8)) == std::string::npos;
    return isText ? Quoted(bytes) : Hexadecimal(bytes);
}

std::string VariantInWords(const Value& value)
{
    const std::unique_ptr<GVariant, decltype(&g_variant_unref)> body(
        BodyOf(value.text, value.bytes.data(), value.bytes.size()), g_variant_unref);
    if (!body) {
        return "something of no valid type";
    }
    const std::unique_ptr<gchar, decltype(&g_free)> text(g_variant_print(body.get(), FALSE), g_free);
    return text.get();
}

std::string Members(const std::vector<Value>& values)
{
    std::string text;
    for (const Value& value : values) {
        text += text.empty() ? "" : ", ";
        text += std::string(value.field->name) + " " + InWords(value);
    }
    return text;
}

std::string Given(const Decoded& record)
{
    const bool hasResult = record.signature != nullptr && record.signature->hasResult;
    std::string text;
    for (const Value& value : record.values) {
        const bool isResult = hasResult && text.empty();
        const char* between = hasResult ? " = " : " -> ";
        text += text.empty() ? between : ", ";
        text += isResult ? InWords(value) : std::string(value.field->name) + " " + InWords(value);
    }
    return text;
}

std::string Slot(const Decoded& record)
{
    return record.slot > 0 ? " number " + std::to_string(record.slot + 1) : "";
}

} // namespace

std::string InWords(const Value& value)
{
    if (!value.isThere) {
        return "none";
    }
    switch (value.field->shape) {
    case Shape::Signed:
    case Shape::Unsigned:
        return std::to_string(value.number);
    case Shape::Flag:
        return value.number != 0 ? "true" : "false";
    case Shape::Callback:
        return value.number != 0 ? "number " + std::to_string(value.number) : "none";
    case Shape::Presence:
        return value.number != 0 ? "there" : "none";
    case Shape::Text:
        return Quoted(value.text);
    case Shape::Bytes:
        return BytesInWords(value.bytes);
    case Shape::Record:
        return "{" + Members(value.members) + "}";
    case Shape::Variant:
        return VariantInWords(value);
    }
    return "";
}

std::string InWords(const Decoded& record)
{
    const std::string name(record.signature != nullptr ? record.signature->name : "");
    switch (record.kind) {
    case Kind::LifeBegins:
        return "the service starts (" + record.service + ")";
    case Kind::Call:
        return name + "(" + Members(record.values) + ")";
    case Kind::Return:
        return name + " gives" + Given(record);
    case Kind::Input:
    case Kind::Enters:
        return "it is told: " + name + Slot(record) +
               (record.values.empty() ? "" : " (" + Members(record.values) + ")");
    case Kind::Leaves:
        return name + " has been dealt with" + Given(record);
    case Kind::Log: {
        constexpr std::array kLetters = {'D', 'I', 'W', 'E'};
        constexpr std::uint64_t kDebug = 3;
        const std::uint64_t index = record.priority - kDebug;
        return std::string("log ") + (index < kLetters.size() ? kLetters[index] : '?') + " " + record.tag + " " +
               record.text;
    }
    case Kind::Lost:
        return "not recorded from here on: " + record.text;
    case Kind::LifeEnds:
        return "the service ends with status " + std::to_string(record.status);
    }
    return "";
}

std::string Instant(std::int64_t microseconds)
{
    constexpr std::int64_t kSecond = 1'000'000;
    constexpr std::int64_t kMinute = 60;
    const std::int64_t seconds = microseconds / kSecond;
    std::array<char, 64> text = {};
    std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld.%06lld",
                  static_cast<long long>(seconds / kMinute / kMinute),
                  static_cast<long long>(seconds / kMinute % kMinute), static_cast<long long>(seconds % kMinute),
                  static_cast<long long>(microseconds % kSecond));
    return text.data();
}

} // namespace recorder
