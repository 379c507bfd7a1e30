#include "tv/front/Show.h"

#include "recorder/Decoded.h"
#include "recorder/Kind.h"
#include "recorder/Reader.h"
#include "tv/front/Teller.h"
#include "tv/recording/Anonymous.h"
#include "tv/recording/FromRecording.h"
#include "tv/recording/Recording.h"
#include "tv/recording/RecordingFile.h"

#include <glib.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace front {

namespace {

std::string Day(std::int64_t microseconds)
{
    constexpr std::int64_t kSecond = 1'000'000;
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> moment(
        g_date_time_new_from_unix_utc(microseconds / kSecond), g_date_time_unref);
    const std::unique_ptr<gchar, decltype(&g_free)> text(
        moment ? g_date_time_format(moment.get(), "%Y-%m-%d %H:%M:%S") : nullptr, g_free);
    return text ? std::string(text.get()) + " UTC" : "at a time that makes no sense";
}

/// Of which service it is, and when it began: of the first record, if that is there.
std::string Heading(const recording::Recording& recording)
{
    if (recording.records.empty() || recording.records.front().empty() ||
        recording.records.front().front() != static_cast<std::byte>(recorder::Kind::LifeBegins)) {
        return "a recording whose beginning is missing\n";
    }
    try {
        const recorder::Decoded begin = recorder::Decode(recording.records.front());
        return "the service " + begin.service + ", begun " + Day(begin.wall) +
               (begin.hasZone ? ", time zone " + begin.zone : "") +
               (begin.root.empty() ? "" : ", its files in " + begin.root) + "\n";
    } catch (const recorder::Malformed& malformed) {
        return std::string("a recording whose beginning is ") + malformed.what() + "\n";
    }
}

recording::Recording Read(const std::string& file)
{
    recording::WaitUntilWritten(file); // what a service left a moment ago is still on its way
    return recording::Read(file);
}

void Remark(const std::string& file, const std::vector<std::string>& remarks)
{
    for (const std::string& remark : remarks) {
        std::fprintf(stderr, "vyrel-tv: %s: %s\n", file.c_str(), remark.c_str());
    }
}

} // namespace

void Show(const Options& options, const Output& output)
{
    recording::Recording recording = Read(options.run);
    if (options.anonymous) {
        recording = recording::Anonymous(std::move(recording));
    }
    std::vector<std::string> remarks = recording.remarks;
    const std::vector<std::string> lines = recording::RunFileOf(recording, remarks);
    Remark(options.run, remarks);
    if (options.json) {
        for (const std::string& line : lines) {
            output.Write(line + "\n");
        }
        return;
    }
    output.Write(Heading(recording));
    Teller teller(output, {Teller::Style::Columns, !options.brief},
                  [&](const std::string& text) { output.Write(text); });
    for (const std::string& line : lines) {
        teller.Hears(line);
    }
}

void WriteAnonymous(const Options& options, const Output& output)
{
    const recording::Recording recording = recording::Anonymous(Read(options.run));
    Remark(options.run, recording.remarks);
    recording::Write(recording, options.output);
    output.Write(options.output + " holds no address, name or identity of " + options.run +
                 "; look at it before you give it away: vyrel-tv show " + options.output + "\n");
}

} // namespace front
