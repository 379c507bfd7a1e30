// alter_recording: writes a recording anew with something changed in it, for tests of what reads it.
//
// usage: alter_recording IN OUT COMMAND...
//   cut COUNT             only the first COUNT records
//   drop INDEX            without one record, from 0
//   argument FROM TO      the text FROM is TO in what the service asks and says, and the number FROM is TO
//   answer FROM TO        the same in what it is told
//   service NAME          as if recorded of another version of the service
//   schema                as if recorded over other functions
//   lost INDEX            something could not be recorded from there on
//   count                 only says how many records there are

#include "recorder/Decoded.h"
#include "recorder/Kind.h"
#include "recorder/Schema.h"
#include "recorder/Sink.h"
#include "recorder/Writer.h"
#include "tv/recording/Recording.h"

#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

namespace {

using recorder::Decoded;
using recorder::Kind;
using Records = std::vector<recording::Record>;
using Words = std::vector<std::string>;

std::size_t Index(const std::string& word)
{
    return static_cast<std::size_t>(std::stoul(word));
}

void Replace(std::string& text, const std::string& from, const std::string& to)
{
    if (const std::size_t at = text.find(from); at != std::string::npos) {
        text.replace(at, from.size(), to);
    }
}

bool IsNumber(const std::string& word)
{
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc() && end == word.data() + word.size();
}

void Replace(recorder::Value& value, const std::string& from, const std::string& to)
{
    if (IsNumber(from)) {
        if (value.field->shape == recorder::Shape::Signed && value.number == std::stoll(from)) {
            value.number = std::stoll(to);
        }
    } else {
        Replace(value.text, from, to);
    }
    for (recorder::Value& member : value.members) {
        Replace(member, from, to);
    }
}

bool IsSaidByService(Kind kind)
{
    return kind == Kind::Call || kind == Kind::Leaves || kind == Kind::Log;
}

void Alter(Decoded& record, const Words& words)
{
    if (words[0] == "service") {
        record.service = record.kind == Kind::LifeBegins ? words[1] : "";
    } else if (words[0] == "schema") {
        ++record.schema;
    } else if (IsSaidByService(record.kind) == (words[0] == "argument")) {
        Replace(record.text, words[1], words[2]);
        for (recorder::Value& value : record.values) {
            Replace(value, words[1], words[2]);
        }
    }
}

void Alter(Records& records, const Words& words)
{
    if (words[0] == "cut") {
        records.resize(Index(words[1]));
    } else if (words[0] == "drop") {
        records.erase(records.begin() + static_cast<std::ptrdiff_t>(Index(words[1])));
    } else if (words[0] == "lost") {
        Decoded lost;
        lost.text = "what a test says";
        records.insert(records.begin() + static_cast<std::ptrdiff_t>(Index(words[1])), recorder::Encode(lost));
    } else {
        for (recording::Record& record : records) {
            Decoded decoded = recorder::Decode(record);
            Alter(decoded, words);
            record = recorder::Encode(decoded);
        }
    }
}

/// The process that writes may not even have begun.
void WaitFor(std::size_t count, const char* path)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (std::chrono::steady_clock::now() < end) {
        try {
            if (recording::Read(path).records.size() == count) {
                return;
            }
        } catch (const recording::Unreadable&) {
            // not yet
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    throw std::runtime_error("is not written");
}

void Write(const Records& records, const char* path)
{
    constexpr std::uint64_t kRoomy = 64ULL * 1024 * 1024;
    if (!recorder::Start(path, kRoomy, recorder::WhenFull::Waits)) {
        throw std::runtime_error("cannot be written");
    }
    for (const recording::Record& record : records) {
        recorder::Append(record);
    }
    recorder::Stop();
    WaitFor(records.size(), path);
}

} // namespace

int main(int argc, char** argv)
try {
    const Words words(argv + 1, argv + argc);
    recording::WaitUntilWritten(words.at(0));
    Records records = recording::Read(words.at(0)).records;
    if (words.at(2) == "count") {
        std::printf("%zu\n", records.size());
        return EXIT_SUCCESS;
    }
    Alter(records, {words.begin() + 2, words.end()});
    Write(records, words.at(1).c_str());
    return EXIT_SUCCESS;
} catch (const std::exception& exception) {
    std::fprintf(stderr, "alter_recording: %s\n", exception.what());
    return EXIT_FAILURE;
}
