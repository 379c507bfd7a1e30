#include "kpi/Event.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace kpi {

namespace {

constexpr const char* kIdentifier = "VYREL_KPI";
constexpr std::string_view kItemPrefix = "KPI_ITEM_";
/// The journal takes no longer name.
constexpr std::size_t kLongestName = 64;

std::string FieldName(std::string_view key)
{
    std::string name(kItemPrefix);
    for (const char character : key.substr(0, kLongestName - kItemPrefix.size())) {
        name.push_back(g_ascii_isalnum(character) ? g_ascii_toupper(character) : '_');
    }
    return name;
}

void AppendQuoted(std::string& json, const std::string& text)
{
    char* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    json.push_back('"');
    for (const char* character = valid; *character != '\0'; ++character) {
        if (*character == '"' || *character == '\\') {
            json.push_back('\\');
            json.push_back(*character);
        } else if (static_cast<unsigned char>(*character) < 0x20) {
            std::array<char, 8> escaped = {};
            std::snprintf(escaped.data(), escaped.size(), "\\u%04x", static_cast<unsigned>(*character));
            json.append(escaped.data());
        } else {
            json.push_back(*character);
        }
    }
    json.push_back('"');
    g_free(valid);
}

void AppendMember(std::string& json, const std::string& key, const std::string& value)
{
    if (json.back() != '{') {
        json.push_back(',');
    }
    AppendQuoted(json, key);
    json.push_back(':');
    AppendQuoted(json, value);
}

} // namespace

std::vector<Event::Item> Event::Items() const
{
    std::string_view text = description;
    if (text.starts_with('{') && text.ends_with('}') && text.size() > 1) {
        text = text.substr(1, text.size() - 2);
    }
    std::vector<Item> items;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(';'), text.size());
        const std::string_view piece = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        const std::size_t sign = piece.find('=');
        if (sign != std::string_view::npos && sign > 0) {
            items.push_back({std::string(piece.substr(0, sign)), std::string(piece.substr(sign + 1))});
        } else if (!items.empty()) {
            items.back().value.append(";").append(piece);
        }
    }
    return items;
}

std::string Event::ToJson(std::string_view time) const
{
    std::string json = "{";
    AppendMember(json, "time", std::string(time));
    AppendMember(json, "category", category);
    AppendMember(json, "name", name);
    AppendMember(json, "code", code);
    AppendMember(json, "description", description);
    json.append(",\"items\":{");
    for (const Item& item : Items()) {
        AppendMember(json, item.key, item.value);
    }
    json.append("}}");
    return json;
}

journal::Journal::Outcome Event::ToJournal() const
{
    const std::vector<Item> items = Items();
    const std::string text = "usage event " + name + " " + code + " " + description;
    std::vector<journal::Field> fields = {{"PRIORITY", "6"},
                                          {"SYSLOG_IDENTIFIER", kIdentifier},
                                          {"MESSAGE", text},
                                          {"KPI_CATEGORY", category},
                                          {"KPI_NAME", name},
                                          {"KPI_CODE", code},
                                          {"KPI_DESCRIPTION", description}};
    std::vector<std::string> names;
    names.reserve(items.size());
    for (const Item& item : items) {
        names.push_back(FieldName(item.key));
        fields.push_back({names.back(), item.value});
    }
    return journal::Journal::OfProcess().Send(fields);
}

} // namespace kpi
