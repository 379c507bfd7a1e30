#include "tv/run/Run.h"
#include "tv/timeline/Formats.h"
#include "tv/timeline/Lanes.h"

#include <glib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace timeline {

namespace {

using TextPtr = std::unique_ptr<char, decltype(&g_free)>;

// In pixels.
constexpr int kRow = 22;
constexpr int kRail = 30;
constexpr int kTime = 92; // the column with the times
constexpr int kHead = 150;
constexpr int kText = 960;
constexpr int kLongestText = 130; // characters of an entry; the page has all of them

constexpr std::int64_t kLater = 1'000'000; // a pause from here on is said, in microseconds

constexpr const char* kColours[] = {"#8a5a00", "#1d5fbf", "#7a3fb0", "#0b7a5c", "#b0346c",
                                    "#5a7a00", "#0a7a8f", "#9a4a2a", "#4a55c0", "#60656e"};

constexpr const char* kStyle = R"(
text { font: 12px "DejaVu Sans Mono", ui-monospace, monospace; fill: #22252b }
.head { font: 600 12px system-ui, sans-serif }
.time, .later { font-size: 10.5px; fill: #6b7079 }
.time { text-anchor: end }
.note, .words { font: 600 13px system-ui, sans-serif }
.log { fill: #6b7079 }
.rail { fill: none; opacity: .25 }
.cause { fill: none; stroke: #a4a8b0 }
)";

/// XML has no way to write a control character: each is shown as a space.
std::string Escaped(std::string_view text)
{
    std::string plain(text);
    std::ranges::replace_if(
        plain, [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; }, ' ');
    const TextPtr valid(g_utf8_make_valid(plain.data(), static_cast<gssize>(plain.size())), g_free);
    const TextPtr escaped(g_markup_escape_text(valid.get(), -1), g_free);
    return escaped.get();
}

/// Cut to what fits, between two characters.
std::string Cut(const std::string& text)
{
    const TextPtr valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())), g_free);
    if (g_utf8_strlen(valid.get(), -1) <= kLongestText) {
        return valid.get();
    }
    const TextPtr begin(g_utf8_substring(valid.get(), 0, kLongestText), g_free);
    return std::string(begin.get()) + "…";
}

std::string Padded(std::int64_t number, std::size_t digits)
{
    const std::string text = std::to_string(number);
    return std::string(digits - std::min(digits, text.size()), '0') + text;
}

/// 1:02:03.004
std::string Clock(std::int64_t microseconds)
{
    const std::int64_t milliseconds = microseconds / 1000;
    const std::int64_t minutes = milliseconds / 60'000;
    return (minutes >= 60 ? std::to_string(minutes / 60) + ":" + Padded(minutes % 60, 2) : std::to_string(minutes)) +
           ":" + Padded(milliseconds / 1000 % 60, 2) + "." + Padded(milliseconds % 1000, 3);
}

class Drawing
{
public:
    explicit Drawing(const run::Run& run) : m_run(run), m_lanes(run)
    {
        PlaceRows();
    }

    std::string Svg()
    {
        const int width = kTime + Rails() + kText;
        const std::string size = "width=\"" + std::to_string(width) + "\" height=\"" + std::to_string(m_height) + "\"";
        m_svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" " + size + " viewBox=\"0 0 " + std::to_string(width) + " " +
                std::to_string(m_height) + "\">\n<title>A run of the television</title>\n<style>" + kStyle +
                "</style>\n<defs><marker id=\"tip\" viewBox=\"0 0 8 8\" refX=\"7\" refY=\"4\" markerWidth=\"7\" "
                "markerHeight=\"7\" orient=\"auto\" markerUnits=\"userSpaceOnUse\"><path d=\"M0 0L8 4L0 8z\" "
                "fill=\"#a4a8b0\"/></marker></defs>\n<rect " +
                size + " fill=\"#fbfaf8\"/>\n";
        DrawRails();
        for (const run::Entry& entry : m_run.entries) {
            DrawCause(entry);
        }
        std::int64_t before = -1;
        for (const run::Entry& entry : m_run.entries) {
            DrawEntry(entry, before);
            before = entry.at;
        }
        return m_svg + "</svg>\n";
    }

private:
    [[nodiscard]] int Rails() const
    {
        return static_cast<int>(m_lanes.Names().size()) * kRail;
    }
    [[nodiscard]] int X(const run::Entry& entry) const
    {
        return kTime + static_cast<int>(m_lanes.IndexOf(entry.lane)) * kRail + kRail / 2;
    }
    [[nodiscard]] const char* Colour(std::size_t lane) const
    {
        return kColours[lane % std::size(kColours)];
    }

    void PlaceRows()
    {
        std::int64_t before = -1;
        for (const run::Entry& entry : m_run.entries) {
            m_height += before >= 0 && entry.at - before >= kLater ? kRow : 0;
            m_rows[entry.id] = {&entry, m_height + kRow / 2};
            m_height += kRow;
            before = entry.at;
        }
        m_height += kRow / 2;
    }

    void Text(int x, int y, const char* kind, const std::string& text, const std::string& more = {})
    {
        m_svg += "<text x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" class=\"" + Escaped(kind) +
                 "\"" + more + ">" + Escaped(text) + "</text>\n";
    }

    void DrawRails()
    {
        for (std::size_t lane = 0; lane < m_lanes.Names().size(); ++lane) {
            const int x = kTime + static_cast<int>(lane) * kRail + kRail / 2;
            const std::string colour = Colour(lane);
            m_svg += R"(<path class="rail" stroke=")" + colour + R"(" d="M)" + std::to_string(x) + " " +
                     std::to_string(kHead) + "V" + std::to_string(m_height) + "\"/>\n";
            Text(x + 4, kHead - 8, "head", m_lanes.Names()[lane],
                 " style=\"fill:" + colour + "\" transform=\"rotate(-60 " + std::to_string(x + 4) + " " +
                     std::to_string(kHead - 8) + ")\"");
        }
    }

    /// Down the cause's lane, then over to the effect; around what is between in one lane.
    void DrawCause(const run::Entry& entry)
    {
        const auto cause = m_rows.find(entry.cause);
        if (cause == m_rows.end()) {
            return;
        }
        const int x1 = X(*cause->second.entry);
        const int y1 = cause->second.y;
        const int x2 = X(entry);
        const int y2 = m_rows.at(entry.id).y;
        const auto text = [](int number) { return std::to_string(number); };
        std::string path = "M" + text(x1) + " " + text(y1 + 5);
        if (x1 == x2) {
            const std::string side = text(x1 + kRail * 2 / 5);
            path += "Q" + side + " " + text(y1 + 7) + " " + side + " " + text(std::min(y1 + 13, y2 - 7)) + "V" +
                    text(std::max(y2 - 10, y1 + 10)) + "Q" + side + " " + text(y2 - 2) + " " + text(x2 + 5) + " " +
                    text(y2);
        } else {
            const int way = x2 > x1 ? 1 : -1;
            const int bend = std::min(std::abs(x2 - x1) / 2, 12);
            path += "V" + text(y2 - std::min(y2 - y1, 14)) + "Q" + text(x1) + " " + text(y2) + " " +
                    text(x1 + way * bend) + " " + text(y2) + "H" + text(x2 - way * 5);
        }
        m_svg += "<path class=\"cause\" marker-end=\"url(#tip)\" d=\"" + path + "\"/>\n";
    }

    void DrawEntry(const run::Entry& entry, std::int64_t before)
    {
        const int y = m_rows.at(entry.id).y;
        const int text = kTime + Rails() + 8;
        if (before >= 0 && entry.at - before >= kLater) {
            Text(text, y - kRow + 4, "later", Clock(entry.at - before) + " later");
        }
        if (before < 0 || entry.at / 1000 != before / 1000) {
            Text(kTime - 8, y + 4, "time", Clock(entry.at));
        }
        m_svg += "<circle cx=\"" + std::to_string(X(entry)) + "\" cy=\"" + std::to_string(y) + R"(" r="4.5" fill=")" +
                 Colour(m_lanes.IndexOf(entry.lane)) + "\"/>\n";
        Text(text, y + 4, entry.words.empty() ? entry.kind.c_str() : "words", Cut(entry.Label()));
    }

    struct Row
    {
        const run::Entry* entry;
        int y;
    };

    const run::Run& m_run;
    Lanes m_lanes;
    std::map<std::uint64_t, Row> m_rows;
    int m_height = kHead;
    std::string m_svg;
};

} // namespace

std::string Picture(const run::Run& run)
{
    return Drawing(run).Svg();
}

} // namespace timeline
