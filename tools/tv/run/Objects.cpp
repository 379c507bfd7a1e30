#include "tv/run/Objects.h"

#include <glib.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace run {

namespace {

/// What an entry has a field of its own for.
bool IsKnown(std::string_view member)
{
    constexpr std::string_view kKnown[] = {"id", "cause", "at", "lane", "kind", "text", "subject", "words"};
    return std::ranges::find(kKnown, member) != std::end(kKnown);
}

/// A number, a text, or the texts of a list with commas; empty for anything else.
std::string Shown(const front::Object& object, const char* member)
{
    std::string shown = object.Text(member);
    const char* separator = "";
    for (const front::Object& element : object.Members(member)) {
        shown += separator + element.Text("text");
        separator = ", ";
    }
    if (shown.empty()) {
        const std::string json = object.Json(member);
        shown = json.find_first_of("{[\"") == std::string::npos && json != "null" ? json : "";
    }
    return shown;
}

} // namespace

Entry EntryOf(const front::Object& object)
{
    Entry entry = {.id = static_cast<std::uint64_t>(std::max<std::int64_t>(object.Number("id"), 0)),
                   .cause = static_cast<std::uint64_t>(std::max<std::int64_t>(object.Number("cause"), 0)),
                   .at = std::max<std::int64_t>(object.Number("at"), 0),
                   .lane = object.Text("lane"),
                   .kind = object.Text("kind"),
                   .text = object.Text("text"),
                   .subject = object.Text("subject"),
                   .words = object.Text("words"),
                   .details = {}};
    for (std::string& name : object.Names()) {
        std::string shown = IsKnown(name) ? "" : Shown(object, name.c_str());
        if (!shown.empty()) {
            entry.details.emplace_back(std::move(name), std::move(shown));
        }
    }
    return entry;
}

Message MessageOf(const front::Object& object)
{
    gsize size = 0;
    const std::unique_ptr<guchar, decltype(&g_free)> bytes(g_base64_decode(object.Text("dbus").c_str(), &size), g_free);
    return {.at = std::max<std::int64_t>(object.Number("at"), 0),
            .comesIn = object.Text("way") == "in",
            .bytes = std::string(reinterpret_cast<const char*>(bytes.get()), size)};
}

} // namespace run
