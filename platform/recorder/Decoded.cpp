#include "recorder/Decoded.h"

#include "recorder/Reader.h"
#include "recorder/Writer.h"

#include <optional>
#include <string_view>
#include <utility>

namespace recorder {

namespace {

std::string OrEmpty(std::optional<std::string_view> text)
{
    return std::string(text.value_or(""));
}

std::string AsText(std::span<const std::byte> bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

Value Take(Reader& reader, const Field& field);

std::vector<Value> Take(Reader& reader, std::span<const Field> fields)
{
    std::vector<Value> values;
    values.reserve(fields.size());
    for (const Field& field : fields) {
        values.push_back(Take(reader, field));
    }
    return values;
}

void TakeVariant(Reader& reader, Value& value)
{
    const auto type = reader.Text();
    value.isThere = type.has_value();
    if (value.isThere) {
        value.text = *type;
        value.bytes = OrEmpty(reader.Text());
    }
}

Value Take(Reader& reader, const Field& field)
{
    Value value;
    value.field = &field;
    switch (field.shape) {
    case Shape::Signed:
        value.number = reader.Signed();
        break;
    case Shape::Unsigned:
    case Shape::Flag:
    case Shape::Callback:
    case Shape::Presence:
        value.number = static_cast<std::int64_t>(reader.Unsigned());
        break;
    case Shape::Text: {
        const auto text = reader.Text();
        value.isThere = text.has_value();
        value.text = OrEmpty(text);
        break;
    }
    case Shape::Bytes: {
        const auto bytes = reader.Bytes();
        value.isThere = bytes.has_value();
        value.bytes = bytes ? AsText(*bytes) : "";
        break;
    }
    case Shape::Record:
        value.isThere = reader.Unsigned() != 0;
        if (value.isThere) {
            value.members = Take(reader, field.fields);
        }
        break;
    case Shape::Variant:
        TakeVariant(reader, value);
        break;
    }
    return value;
}

void Put(Writer& writer, const Value& value)
{
    switch (value.field->shape) {
    case Shape::Signed:
        writer.Signed(value.number);
        break;
    case Shape::Unsigned:
    case Shape::Flag:
    case Shape::Callback:
    case Shape::Presence:
        writer.Unsigned(static_cast<std::uint64_t>(value.number));
        break;
    case Shape::Text:
        writer.Bytes(value.isThere ? value.text.data() : nullptr, value.text.size());
        break;
    case Shape::Bytes:
        writer.Bytes(value.isThere ? value.bytes.data() : nullptr, value.bytes.size());
        break;
    case Shape::Record:
        writer.Unsigned(value.isThere ? 1 : 0);
        for (const Value& member : value.members) {
            Put(writer, member);
        }
        break;
    case Shape::Variant:
        writer.Bytes(value.isThere ? value.text.data() : nullptr, value.text.size());
        if (value.isThere) {
            writer.Bytes(value.bytes.data(), value.bytes.size());
        }
        break;
    }
}

void TakeNumber(Reader& reader, std::span<const Signature> all, Decoded& decoded)
{
    decoded.number = reader.Unsigned();
    if (decoded.number >= all.size()) {
        throw Malformed("a function that does not exist");
    }
    decoded.signature = &all[decoded.number];
}

/// What a function gave: outputs are missing where it failed.
std::vector<Value> TakeGiven(Reader& reader, const Signature& signature)
{
    if (!signature.givesOnlyOnSuccess) {
        return Take(reader, signature.given);
    }
    std::vector<Value> values = Take(reader, signature.given.first(1));
    if (values.front().number == 0) {
        for (Value& output : Take(reader, signature.given.subspan(1))) {
            values.push_back(std::move(output));
        }
    }
    return values;
}

void TakeLifeBegins(Reader& reader, Decoded& decoded)
{
    decoded.format = reader.Unsigned();
    if (decoded.format != kFormat) {
        return;
    }
    decoded.schema = reader.Unsigned();
    decoded.service = OrEmpty(reader.Text());
    const auto zone = reader.Text();
    decoded.hasZone = zone.has_value();
    decoded.zone = OrEmpty(zone);
    decoded.root = OrEmpty(reader.Text());
    decoded.wall = reader.Signed();
}

void TakeCallback(Reader& reader, Decoded& decoded)
{
    TakeNumber(reader, Callbacks(), decoded);
    decoded.slot = reader.Unsigned();
    decoded.since = reader.Unsigned();
    decoded.values = Take(reader, decoded.signature->arguments);
}

bool IsOfThisFormat(const Decoded& decoded)
{
    return decoded.kind != Kind::LifeBegins || decoded.format == kFormat;
}

void PutAll(Writer& writer, const std::vector<Value>& values)
{
    for (const Value& value : values) {
        Put(writer, value);
    }
}

void PutLifeBegins(Writer& writer, const Decoded& decoded)
{
    writer.Unsigned(decoded.format);
    if (decoded.format != kFormat) {
        return;
    }
    writer.Unsigned(decoded.schema);
    writer.Text(std::string_view(decoded.service));
    writer.Bytes(decoded.hasZone ? decoded.zone.data() : nullptr, decoded.zone.size());
    writer.Text(std::string_view(decoded.root));
    writer.Signed(decoded.wall);
}

void PutCallback(Writer& writer, const Decoded& decoded)
{
    writer.Unsigned(decoded.number);
    writer.Unsigned(decoded.slot);
    writer.Unsigned(decoded.since);
    PutAll(writer, decoded.values);
}

} // namespace

Decoded Decode(std::span<const std::byte> record)
{
    Reader reader(record);
    Decoded decoded;
    decoded.kind = reader.Kind();
    switch (decoded.kind) {
    case Kind::LifeBegins:
        TakeLifeBegins(reader, decoded);
        break;
    case Kind::Call:
        TakeNumber(reader, Functions(), decoded);
        decoded.values = Take(reader, decoded.signature->arguments);
        break;
    case Kind::Return:
        TakeNumber(reader, Functions(), decoded);
        decoded.values = TakeGiven(reader, *decoded.signature);
        break;
    case Kind::Input:
        decoded.instant = static_cast<std::int64_t>(reader.Unsigned());
        TakeCallback(reader, decoded);
        break;
    case Kind::Enters:
        TakeCallback(reader, decoded);
        break;
    case Kind::Leaves:
        TakeNumber(reader, Callbacks(), decoded);
        decoded.values = TakeGiven(reader, *decoded.signature);
        break;
    case Kind::Log:
        decoded.priority = reader.Unsigned();
        decoded.tag = OrEmpty(reader.Text());
        decoded.text = OrEmpty(reader.Text());
        break;
    case Kind::Lost:
        decoded.text = OrEmpty(reader.Text());
        break;
    case Kind::LifeEnds:
        decoded.status = reader.Signed();
        break;
    }
    if (IsOfThisFormat(decoded) && !reader.IsAtEnd()) {
        throw Malformed("a record with more in it than there should be");
    }
    return decoded;
}

std::vector<std::byte> Encode(const Decoded& decoded)
{
    Writer writer;
    writer.Begin(decoded.kind);
    switch (decoded.kind) {
    case Kind::LifeBegins:
        PutLifeBegins(writer, decoded);
        break;
    case Kind::Call:
    case Kind::Return:
    case Kind::Leaves:
        writer.Unsigned(decoded.number);
        PutAll(writer, decoded.values);
        break;
    case Kind::Input:
        writer.Unsigned(static_cast<std::uint64_t>(decoded.instant));
        PutCallback(writer, decoded);
        break;
    case Kind::Enters:
        PutCallback(writer, decoded);
        break;
    case Kind::Log:
        writer.Unsigned(decoded.priority);
        writer.Text(std::string_view(decoded.tag));
        writer.Text(std::string_view(decoded.text));
        break;
    case Kind::Lost:
        writer.Text(std::string_view(decoded.text));
        break;
    case Kind::LifeEnds:
        writer.Signed(decoded.status);
        break;
    }
    return {writer.Record().begin(), writer.Record().end()};
}

} // namespace recorder
