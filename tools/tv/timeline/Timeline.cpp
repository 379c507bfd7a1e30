#include "tv/timeline/Timeline.h"

#include "tv/timeline/Formats.h"

#include <glib.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace timeline {

namespace {

struct Format
{
    std::string_view extension;
    std::string (*make)(const run::Run& run);
};

constexpr Format kFormats[] = {{".html", Page}, {".svg", Picture}, {".json", Trace}, {".pcap", Packets}};

const Format& FormatOf(const std::filesystem::path& path)
{
    const auto found = std::ranges::find(kFormats, path.extension().string(), &Format::extension);
    if (found == std::end(kFormats)) {
        throw std::runtime_error("cannot tell from its name what " + path.string() +
                                 " is to be; let it end in .html (a page), .svg (a picture), .json (a trace) or .pcap "
                                 "(a capture of the bus)");
    }
    return *found;
}

} // namespace

void Write(const run::Run& run, const std::filesystem::path& path)
{
    const std::string contents = FormatOf(path).make(run);
    GError* failure = nullptr;
    const bool isWritten = g_file_set_contents_full(path.c_str(), contents.data(), static_cast<gssize>(contents.size()),
                                                    G_FILE_SET_CONTENTS_CONSISTENT, 0666, &failure) != FALSE;
    if (!isWritten) {
        const std::string why = failure->message;
        g_error_free(failure);
        throw std::runtime_error("cannot write " + path.string() + ": " + why);
    }
}

} // namespace timeline
