#include "people/Json.h"
#include "tv/run/Run.h"
#include "tv/timeline/Formats.h"
#include "tv/timeline/Lanes.h"
#include "tv/timeline/PageTemplate.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace timeline {

namespace {

namespace json = people::json;

constexpr std::string_view kMark = "@RUN@";

std::vector<std::string> Quoted(const std::vector<std::string>& texts)
{
    std::vector<std::string> quoted;
    quoted.reserve(texts.size());
    std::ranges::transform(texts, std::back_inserter(quoted), [](const std::string& text) { return json::Text(text); });
    return quoted;
}

std::string EntryOf(const run::Entry& entry, const Lanes& lanes)
{
    std::vector<std::string> details;
    details.reserve(entry.details.size());
    for (const auto& [name, value] : entry.details) {
        details.push_back(json::Array({json::Text(name), json::Text(value)}));
    }
    return json::Array({std::to_string(entry.id), std::to_string(entry.cause), std::to_string(entry.at),
                        std::to_string(lanes.IndexOf(entry.lane)), json::Text(entry.kind), json::Text(entry.text),
                        json::Text(entry.subject), json::Text(entry.words), json::Array(details)});
}

/// Inside a script element nothing may look like the end of it, nor like a comment.
std::string ForScript(const std::string& text)
{
    std::string safe;
    safe.reserve(text.size());
    for (const char character : text) {
        if (character == '<') {
            safe += "\\u003c";
        } else {
            safe += character;
        }
    }
    return safe;
}

} // namespace

std::string Page(const run::Run& run)
{
    const Lanes lanes(run);
    std::vector<std::string> entries;
    entries.reserve(run.entries.size());
    for (const run::Entry& entry : run.entries) {
        entries.push_back(EntryOf(entry, lanes));
    }
    const std::string data = json::Object({{"lanes", json::Array(Quoted(lanes.Names()))},
                                           {"entries", json::Array(entries)},
                                           {"remarks", json::Array(Quoted(run.remarks))}});
    std::string page(kPageTemplate);
    return page.replace(page.find(kMark), kMark.size(), ForScript(data));
}

} // namespace timeline
