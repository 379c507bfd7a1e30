#include "tv/recording/Anonymous.h"

#include "recorder/Decoded.h"
#include "recorder/Kind.h"
#include "recorder/Reader.h"
#include "recorder/Schema.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace recording {

namespace {

using recorder::Decoded;
using recorder::Shape;
using recorder::Value;

constexpr std::size_t kAddress = 17;   // characters of 00:11:22:33:44:55
constexpr std::size_t kMakersPart = 8; // the first of them
constexpr std::size_t kWithoutColons = 12;

bool IsHex(char character)
{
    return std::isxdigit(static_cast<unsigned char>(character)) != 0;
}

bool IsWord(char character)
{
    return std::isalnum(static_cast<unsigned char>(character)) != 0 ||
           (static_cast<unsigned char>(character) & 0x80U) != 0;
}

/// An address with colons, or another character between the pairs.
bool IsAddressAt(std::string_view text, std::size_t at, char separator)
{
    if (text.size() - at < kAddress || (at > 0 && IsHex(text[at - 1]))) {
        return false;
    }
    for (std::size_t i = 0; i < kAddress; ++i) {
        constexpr std::size_t kPair = 3;
        if (i % kPair == 2 ? text[at + i] != separator : !IsHex(text[at + i])) {
            return false;
        }
    }
    return text.size() - at == kAddress || !IsHex(text[at + kAddress]);
}

std::string Upper(std::string_view text)
{
    std::string upper(text);
    std::ranges::transform(upper, upper.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return upper;
}

std::string WithoutColons(std::string text)
{
    std::erase(text, ':');
    return text;
}

/// Calls \p visit for each text of a value, as a reference.
template <typename AnyValue, typename Visit>
void ForEachValue(AnyValue& values, const Visit& visit)
{
    for (auto& value : values) {
        visit(value);
        ForEachValue(value.members, visit);
    }
}

/// What is to be replaced, and by what.
class Secrets
{
public:
    void Collect(const Decoded& record)
    {
        FindAddresses(record.text);
        ForEachValue(record.values, [&](const Value& value) {
            FindAddresses(value.text);
            FindAddresses(value.bytes);
            if (value.field->shape == Shape::Text && value.isThere && IsTold(record) && IsName(record, value)) {
                AddName(value.text);
            }
        });
        if (record.kind == recorder::Kind::Call) {
            m_key = KeyOf(record);
        }
    }

    /// Every address gets another one with the same first half; the order among them stays, because somebody may sort
    /// them.
    void Decide()
    {
        std::map<std::string, unsigned int> counts;
        for (auto& [address, other] : m_addresses) {
            std::array<char, 16> rest = {};
            constexpr unsigned int kFirst = 0xA00000; // no more than so many meet in a life, so the order stays
            const unsigned int number = kFirst + counts[address.substr(0, kMakersPart)]++;
            std::snprintf(rest.data(), rest.size(), ":%02X:%02X:%02X", (number >> 16U) & 0xFFU, (number >> 8U) & 0xFFU,
                          number & 0xFFU);
            other = address.substr(0, kMakersPart) + rest.data();
        }
        unsigned int number = 0;
        for (auto& [name, other] : m_names) {
            other = Begun(name) + OtherName(name, ++number).substr(Begun(name).size());
        }
        // What has bytes that are no text is handed on with other characters in their place.
        const std::map<std::string, std::string> names = m_names;
        for (const auto& [name, other] : names) {
            m_names.try_emplace(Valid(name), Valid(other));
        }
    }

    [[nodiscard]] std::string Hide(std::string text) const
    {
        HideNames(text);
        HideAddresses(text);
        return text;
    }

private:
    void FindAddresses(std::string_view text)
    {
        for (std::size_t at = 0; at + kAddress <= text.size(); ++at) {
            if (IsAddressAt(text, at, ':')) {
                const std::string address = Upper(text.substr(at, kAddress));
                if (address != "00:00:00:00:00:00" && address != "FF:FF:FF:FF:FF:FF") {
                    m_addresses.try_emplace(address);
                }
            }
        }
    }

    /// What the service does is made of what it was told, which has its replacement already.
    static bool IsTold(const Decoded& record)
    {
        return record.kind != recorder::Kind::Call && record.kind != recorder::Kind::Leaves;
    }

    static std::string KeyOf(const Decoded& call)
    {
        const auto key = std::ranges::find(call.values, std::string_view("key"),
                                           [](const Value& value) { return value.field->name; });
        return key != call.values.end() ? key->text : "";
    }

    /// What people have called things, and what only one set or one person has.
    [[nodiscard]] bool IsName(const Decoded& record, const Value& value) const
    {
        constexpr std::array kNames = {"remote_name", "duid", "passkey"};
        if (std::ranges::find(kNames, value.field->name) != kNames.end()) {
            return true;
        }
        const std::string_view function = record.signature != nullptr ? record.signature->name : "";
        if (value.field->name == "name") {
            return function.starts_with("bt_");
        }
        const bool isSetting =
            function.starts_with("vconf_") && (value.field->name == "value" || value.field->name == "result");
        return isSetting && std::ranges::any_of(std::array{"name", "duid", "serial", "addr"}, [&](const char* part) {
                   return m_key.find(part) != std::string::npos;
               });
    }

    void AddName(const std::string& name)
    {
        // An address is replaced as one, and what has no letter or digit tells nothing.
        const bool isAddress = name.size() == kAddress && IsAddressAt(name, 0, ':');
        constexpr std::size_t kLeast = 3; // a shorter one is part of too much else, and tells of nobody
        if (!isAddress && name.size() >= kLeast && std::ranges::any_of(name, IsWord)) {
            m_names.try_emplace(name);
        }
    }

    static std::string Valid(const std::string& text)
    {
        const std::unique_ptr<gchar, decltype(&g_free)> valid(
            g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())), g_free);
        return valid.get();
    }

    /// What a name that begins with another one begins with: the service may have cut off the rest of it.
    [[nodiscard]] std::string Begun(const std::string& name) const
    {
        std::string begun;
        for (const auto& [shorter, other] : m_names) {
            if (shorter.size() < name.size() && shorter.size() > begun.size() && name.starts_with(shorter)) {
                begun = other; // decided before, because it is in front of it
            }
        }
        return begun;
    }

    /// Of the same length in bytes and in characters, letters for letters and digits for digits; no two are the same
    /// where there is room.
    static std::string OtherName(const std::string& name, unsigned int number)
    {
        std::string other = name;
        for (std::size_t i = name.size(); i-- > 0;) {
            const auto byte = static_cast<unsigned char>(name[i]);
            constexpr unsigned int kLetters = 26;
            if (std::isdigit(byte) != 0) {
                other[i] = static_cast<char>('0' + number % 10);
                number /= 10;
            } else if (std::isupper(byte) != 0) {
                other[i] = static_cast<char>('A' + number % kLetters);
                number /= kLetters;
            } else if (std::islower(byte) != 0) {
                other[i] = static_cast<char>('a' + number % kLetters);
                number /= kLetters;
            } else if ((byte & 0x80U) != 0) {
                other[i] = HideByte(name, i);
            }
        }
        return other;
    }

    /// A letter of another alphabet becomes one of the same length; bytes that are no letter stay.
    static char HideByte(const std::string& name, std::size_t at)
    {
        // The last byte of a letter carries its lowest six bits.
        const bool isLast = at + 1 == name.size() || (static_cast<unsigned char>(name[at + 1]) & 0xC0U) != 0x80U;
        const bool isValid = g_utf8_validate(name.data(), static_cast<gssize>(name.size()), nullptr) != FALSE;
        return isLast && isValid ? static_cast<char>(0x80U | 0x15U) : name[at];
    }

    /// A short name stands in many other words: it is one only between what is no letter.
    void HideNames(std::string& text) const
    {
        // The longest first, because a name may be a part of another.
        std::vector<std::pair<std::string, std::string>> names(m_names.begin(), m_names.end());
        std::ranges::sort(names,
                          [](const auto& one, const auto& other) { return one.first.size() > other.first.size(); });
        std::string hidden;
        for (std::size_t at = 0; at < text.size();) {
            const auto name =
                std::ranges::find_if(names, [&](const auto& each) { return StandsAt(text, at, each.first); });
            if (name != names.end()) {
                hidden += name->second;
                at += name->first.size();
            } else {
                hidden += text[at++];
            }
        }
        text = std::move(hidden);
    }

    static bool StandsAt(std::string_view text, std::size_t at, std::string_view name)
    {
        if (!text.substr(at).starts_with(name)) {
            return false;
        }
        const std::size_t end = at + name.size();
        const bool beginsWord = at == 0 || !IsWord(text[at - 1]) || !IsWord(name.front());
        const bool endsWord = end == text.size() || !IsWord(text[end]) || !IsWord(name.back());
        return beginsWord && endsWord;
    }

    void HideAddresses(std::string& text) const
    {
        for (std::size_t at = 0; at < text.size(); ++at) {
            for (const char separator : {':', '_', '-'}) {
                if (IsAddressAt(text, at, separator)) {
                    std::string address = text.substr(at, kAddress);
                    std::ranges::replace(address, separator, ':');
                    if (const auto other = Other(address)) {
                        std::string put = *other;
                        std::ranges::replace(put, ':', separator);
                        text.replace(at, kAddress, put);
                    }
                    at += kAddress - 1;
                    break;
                }
            }
            HideBare(text, at);
        }
    }

    /// An address without its colons.
    void HideBare(std::string& text, std::size_t at) const
    {
        const bool isBegin = at < text.size() && IsHex(text[at]) && (at == 0 || !IsWord(text[at - 1]));
        if (!isBegin || text.size() - at < kWithoutColons ||
            !std::all_of(text.begin() + static_cast<std::ptrdiff_t>(at),
                         text.begin() + static_cast<std::ptrdiff_t>(at + kWithoutColons), IsHex)) {
            return;
        }
        std::string address;
        for (std::size_t i = 0; i < kWithoutColons; i += 2) {
            address += (i > 0 ? ":" : "") + text.substr(at + i, 2);
        }
        if (const auto other = Other(address)) {
            text.replace(at, kWithoutColons, WithoutColons(*other));
        }
    }

    /// In the same case as the one that it replaces.
    [[nodiscard]] std::optional<std::string> Other(const std::string& address) const
    {
        const auto found = m_addresses.find(Upper(address));
        if (found == m_addresses.end()) {
            return std::nullopt;
        }
        std::string other = found->second;
        const bool isLower = std::ranges::any_of(address, [](unsigned char c) { return std::islower(c) != 0; });
        if (isLower) {
            std::ranges::transform(other, other.begin(),
                                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        }
        return other;
    }

    std::map<std::string, std::string> m_addresses; ///< in capitals
    std::map<std::string, std::string> m_names;
    std::string m_key; ///< of the setting that is asked for
};

void HideIn(Decoded& record, const Secrets& secrets)
{
    record.text = secrets.Hide(std::move(record.text));
    record.root = secrets.Hide(std::move(record.root));
    ForEachValue(record.values, [&](Value& value) {
        if (value.field->shape != Shape::Variant) {
            value.text = secrets.Hide(std::move(value.text));
        }
        value.bytes = secrets.Hide(std::move(value.bytes)); // of the same length, so that a body stays a body
    });
}

} // namespace

Recording Anonymous(Recording recording)
{
    Secrets secrets;
    std::vector<Decoded> decoded;
    for (const Record& record : recording.records) {
        try {
            decoded.push_back(recorder::Decode(record));
        } catch (const recorder::Malformed&) {
            recording.remarks.emplace_back(
                "there is a record that cannot be understood: it and what comes behind it are "
                "left out");
            break;
        }
        secrets.Collect(decoded.back());
    }
    secrets.Decide();
    recording.records.clear();
    for (Decoded& record : decoded) {
        HideIn(record, secrets);
        recording.records.push_back(recorder::Encode(record));
    }
    std::erase_if(recording.gaps, [&](const Gap& gap) { return gap.before > recording.records.size(); });
    return recording;
}

} // namespace recording
