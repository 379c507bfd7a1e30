// vyrel-replay: tells the service what it was told in a recording, and says where it does something else.

#include "recorder/Decoded.h"
#include "recorder/Kind.h"
#include "recorder/Reader.h"
#include "recorder/Schema.h"
#include "recorder/ServiceId.h"
#include "replay/Replay.h"
#include "tv/recording/Recording.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int kWrongCommandLine = 2;
constexpr int kCannotBeTold = 3;

constexpr const char* kNoBegin =
    ": the beginning of the service's life is missing, without which nothing can be replayed; "
    "\"vyrel-tv show\" tells what is there";

/// Throws std::runtime_error for a recording that this program can make nothing of.
void Check(const recording::Record& first, const std::string& file)
{
    if (first.empty() || first.front() != static_cast<std::byte>(recorder::Kind::LifeBegins)) {
        throw std::runtime_error(file + kNoBegin);
    }
    const recorder::Decoded begin = recorder::Decode(first);
    if (begin.format != recorder::kFormat || begin.schema != recorder::SchemaId()) {
        throw std::runtime_error(file +
                                 ": recorded over another version of the platform's functions; replay it with the "
                                 "vyrel-tv that was built with that service (" +
                                 (begin.service.empty() ? "not named" : begin.service) + ")");
    }
    if (begin.service != recorder::kServiceId) {
        std::fprintf(stderr,
                     "vyrel-tv: %s: recorded of the service in another state (%s, this is %s): a difference may come "
                     "from that alone\n",
                     file.c_str(), begin.service.c_str(), recorder::kServiceId);
    }
}

/// Why a replay cannot go on behind this record; empty where it can.
std::string EndsReplay(const recording::Record& record)
{
    try {
        const recorder::Decoded decoded = recorder::Decode(record);
        return decoded.kind == recorder::Kind::Lost ? "it was not recorded " + decoded.text : "";
    } catch (const recorder::Malformed& malformed) {
        return std::string("there is ") + malformed.what();
    }
}

replay::Life LifeOf(recording::Recording recording, const std::string& file)
{
    const bool hasBegin = !recording.records.empty() && (recording.gaps.empty() || recording.gaps.front().before > 0);
    if (!hasBegin) {
        throw std::runtime_error(file + kNoBegin);
    }
    Check(recording.records.front(), file);
    replay::Life life = {std::move(recording.records), "the recording ends"};
    if (!recording.gaps.empty()) {
        life.records.resize(std::min(recording.gaps.front().before, life.records.size()));
        life.breaksOff = "records are missing";
    }
    for (std::size_t index = 0; index < life.records.size(); ++index) {
        if (std::string why = EndsReplay(life.records[index]); !why.empty()) {
            life.records.resize(index);
            life.breaksOff = std::move(why);
        }
    }
    if (recorder::Decode(life.records.back()).kind == recorder::Kind::LifeEnds) {
        life.breaksOff.clear();
    }
    return life;
}

int Main(const std::string& file)
{
    recording::WaitUntilWritten(file); // what a service left a moment ago is still on its way
    recording::Recording recording = recording::Read(file);
    for (const std::string& remark : recording.remarks) {
        std::fprintf(stderr, "vyrel-tv: %s: %s\n", file.c_str(), remark.c_str());
    }
    const replay::Life life = LifeOf(std::move(recording), file);
    std::printf("%s: ", file.c_str());
    replay::Replay replay(life);
    return replay.Run();
}

} // namespace

int main(int argc, char** argv)
try {
    if (argc != 2) {
        std::fputs("usage: vyrel-replay FILE\n", stderr);
        return kWrongCommandLine;
    }
    return Main(argv[1]);
} catch (const std::exception& exception) {
    std::fprintf(stderr, "vyrel-tv: %s\n", exception.what());
    return kCannotBeTold;
}
