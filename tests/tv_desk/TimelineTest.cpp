// A run as a page, a picture, a trace and a capture, each held against the rules of its format.

#include "tv/timeline/Timeline.h"

#include "GlibPointers.h"
#include "support/TempDir.h"
#include "tv/run/Run.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <json-glib/json-glib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

using ObjectPtr = std::unique_ptr<JsonNode, Util::ReleaseWith<json_node_unref>>;

constexpr const char* kEvil = "</script><!-- <b>&\"'\x01\x7f\xff\xf0\x9f\x98\x80";

/// A remote that reports its battery, what the service does about it, and the timer that fires an hour later.
run::Run Evening()
{
    run::Run run;
    run.entries = {
        {1, 0, 0, "set", "note", "the smart remote connects", "", "", {}},
        {2, 1, 0, "set", "event", "bt_hid_smart_rc_connection_cb(true)", "", "", {}},
        {3,
         2,
         0,
         "service",
         "call",
         "bt_hid_send_rc_command(\"5C\", [01]) = 0",
         "remote",
         "which firmware?",
         {{"function", "bt_hid_send_rc_command"}, {"result", "0"}}},
        {4, 2, 0, "timers", "timer", "timer 1: 3600000 ms", "", "", {}},
        {5, 2, 0, "log", "log", kEvil, "", "", {{"file", kEvil}}},
        {6, 4, 3'600'000'000, "timers", "fired", "timer 1 fires", "", "", {}},
        {9,
         6,
         3'600'000'000,
         "connectionmanager",
         "bus",
         "call com.quorix.tv.bt.connectionmanager Battery (s) ('4',)",
         "bus",
         "→ connection manager: Battery ('4',)",
         {}},
        {10, 7, 3'600'000'001, "neighbour.of.ours", "bus", "call neighbour.of.ours Hello", "", "", {}},
    };
    return run;
}

std::string Blob(GDBusMessage* message)
{
    gsize size = 0;
    const std::unique_ptr<guchar, Util::ReleaseWith<g_free>> bytes(
        g_dbus_message_to_blob(message, &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr));
    return {reinterpret_cast<const char*>(bytes.get()), size};
}

class Timeline : public ::testing::Test
{
protected:
    [[nodiscard]] std::string Written(const run::Run& run, const std::string& name) const
    {
        timeline::Write(run, PathOf(name));
        return Contents(name);
    }

    [[nodiscard]] std::string Contents(const std::string& name) const
    {
        std::ifstream file(PathOf(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    [[nodiscard]] std::filesystem::path PathOf(const std::string& name) const
    {
        return std::filesystem::path(folder.Path()) / name;
    }

    /// Why it is not written; empty when it is.
    [[nodiscard]] std::string Refusal(const run::Run& run, const std::string& name) const
    {
        try {
            timeline::Write(run, PathOf(name));
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    }

    support::TempDir folder{"timeline"};
};

// Where it goes.

TEST_F(Timeline, IsNotWrittenWhereItsNameDoesNotSayWhatItIsToBe)
{
    for (const char* name : {"run", "run.htm", "run.HTML", "run.html.bak", ".html"}) {
        EXPECT_THAT(Refusal(Evening(), name), HasSubstr("let it end in .html (a page), .svg (a picture), .json"))
            << name;
        EXPECT_FALSE(std::filesystem::exists(PathOf(name))) << name;
    }
}

TEST_F(Timeline, SaysWhyItCannotBeWritten)
{
    EXPECT_THAT(Refusal(Evening(), "none/run.html"), HasSubstr("cannot write " + PathOf("none/run.html").string()));
    std::filesystem::create_directories(PathOf("folder.svg/full"));
    EXPECT_THAT(Refusal(Evening(), "folder.svg"), HasSubstr("cannot write " + PathOf("folder.svg").string()));
    EXPECT_THAT(std::vector<std::filesystem::path>(std::filesystem::directory_iterator(folder.Path()), {}),
                ElementsAre(PathOf("folder.svg"))); // nothing half-written beside it
}

TEST_F(Timeline, LeavesWhatIsThereUntilItIsWhole)
{
    std::ofstream(PathOf("run.pcap")) << "precious";
    EXPECT_EQ(Refusal(Evening(), "run.pcap"),
              "this run kept no messages of the bus, so there is nothing to make a capture of");
    EXPECT_EQ(Contents("run.pcap"), "precious");
}

// The trace.

std::vector<JsonObject*> EventsOf(JsonNode* trace)
{
    JsonArray* array = json_object_get_array_member(json_node_get_object(trace), "traceEvents");
    std::vector<JsonObject*> events;
    for (guint index = 0; index < json_array_get_length(array); ++index) {
        events.push_back(json_array_get_object_element(array, index));
    }
    return events;
}

std::string TextOf(JsonObject* event, const char* member)
{
    return json_object_has_member(event, member) != FALSE ? json_object_get_string_member(event, member) : "";
}

using Thread = std::pair<std::int64_t, std::int64_t>;

Thread ThreadOf(JsonObject* event)
{
    return {json_object_get_int_member(event, "pid"), json_object_get_int_member(event, "tid")};
}

TEST_F(Timeline, AsATraceKeepsTheRulesOfItsFormat)
{
    const ObjectPtr trace(json_from_string(Written(Evening(), "run.json").c_str(), nullptr));
    ASSERT_NE(trace, nullptr);
    std::map<Thread, std::string> names;
    std::map<Thread, std::int64_t> ends; // of the last slice of the thread
    std::map<Thread, std::pair<std::int64_t, std::int64_t>> slices;
    std::map<std::int64_t, std::int64_t> flows; // by id, where it begins
    std::int64_t before = 0;
    int ended = 0;
    for (JsonObject* event : EventsOf(trace.get())) {
        for (const char* member : {"ph", "pid", "tid", "ts", "name"}) {
            EXPECT_TRUE(json_object_has_member(event, member)) << member;
        }
        const Thread thread = ThreadOf(event);
        const std::int64_t start = json_object_get_int_member(event, "ts");
        EXPECT_GE(start, before) << "timestamps are sorted";
        before = start;
        const std::string phase = TextOf(event, "ph");
        if (phase == "M") {
            JsonObject* arguments = json_object_get_object_member(event, "args");
            if (TextOf(event, "name") == "thread_sort_index") {
                EXPECT_TRUE(json_object_has_member(arguments, "sort_index"));
            } else {
                names[thread] = TextOf(arguments, "name");
                EXPECT_NE(names[thread], "");
            }
        } else if (phase == "X") {
            const std::int64_t length = json_object_get_int_member(event, "dur");
            EXPECT_GT(length, 0);
            EXPECT_NE(TextOf(event, "cat"), "");
            EXPECT_TRUE(names.contains(thread)) << "each lane has a name";
            EXPECT_GE(start, ends[thread]) << "the slices of a thread do not overlap";
            ends[thread] = start + length;
            slices[thread] = {start, start + length};
        } else {
            ASSERT_TRUE(phase == "s" || phase == "f") << phase;
            const auto [from, to] = slices[thread];
            EXPECT_TRUE(from <= start && start < to) << "a flow is bound to a slice";
            EXPECT_NE(TextOf(event, "cat"), "");
            const std::int64_t id = json_object_get_int_member(event, "id");
            if (phase == "s") {
                EXPECT_TRUE(flows.emplace(id, start).second) << "a flow begins once";
            } else {
                EXPECT_EQ(TextOf(event, "bp"), "e");
                ASSERT_TRUE(flows.contains(id)) << "a flow begins before it ends";
                EXPECT_LT(flows[id], start);
                ++ended;
            }
        }
    }
    EXPECT_EQ(flows.size(), 6U);
    EXPECT_EQ(ended, 6);
    EXPECT_EQ((names[{1, 0}]), "the television");
    EXPECT_EQ((names[{2, 0}]), "the service");
    EXPECT_EQ((names[{3, 0}]), "siblings");
}

TEST_F(Timeline, AsATraceShowsEachEntryWithItsWordsAndItsTime)
{
    const ObjectPtr trace(json_from_string(Written(Evening(), "run.json").c_str(), nullptr));
    std::vector<std::string> slices;
    for (JsonObject* event : EventsOf(trace.get())) {
        if (TextOf(event, "ph") == "X") {
            JsonObject* arguments = json_object_get_object_member(event, "args");
            slices.push_back(TextOf(event, "name") + " at " +
                             std::to_string(json_object_get_int_member(arguments, "at")));
        }
    }
    ASSERT_EQ(slices.size(), 8U);
    EXPECT_EQ(slices[2], "which firmware? at 0");
    EXPECT_EQ(slices[5], "timer 1 fires at 3600000000");
}

// The capture.

struct Packet
{
    std::uint32_t seconds;
    std::uint32_t microseconds;
    std::string bytes;
};

std::uint32_t Number(const std::string& bytes, std::size_t at)
{
    std::uint32_t number = 0;
    std::memcpy(&number, bytes.substr(at, 4).data(), 4);
    return GUINT32_FROM_LE(number);
}

std::vector<Packet> PacketsOf(const std::string& file)
{
    std::vector<Packet> packets;
    for (std::size_t at = 24; at < file.size();) {
        const std::uint32_t size = Number(file, at + 8);
        EXPECT_EQ(Number(file, at + 12), size);
        packets.push_back({Number(file, at), Number(file, at + 4), file.substr(at + 16, size)});
        EXPECT_EQ(packets.back().bytes.size(), size);
        at += 16 + size;
    }
    return packets;
}

TEST_F(Timeline, AsACaptureHasEveryMessageBothWays)
{
    const Util::MessagePtr call(g_dbus_message_new_method_call("a.b", "/c", "d.e", "Ask"));
    g_dbus_message_set_serial(call.get(), 7);
    g_dbus_message_set_body(call.get(), g_variant_new("(s)", "text"));
    const Util::MessagePtr reply(g_dbus_message_new_method_reply(call.get()));
    g_dbus_message_set_serial(reply.get(), 8);
    run::Run run;
    run.messages = {{1'500'000, false, Blob(call.get())}, {3'600'000'001, true, Blob(reply.get())}};

    const std::string file = Written(run, "run.pcap");
    EXPECT_EQ(Number(file, 0), 0xA1B2C3D4U);
    EXPECT_EQ(Number(file, 4), 0x00040002U); // version 2.4
    EXPECT_EQ(Number(file, 20), 231U);       // D-Bus
    const std::vector<Packet> packets = PacketsOf(file);
    ASSERT_EQ(packets.size(), 2U);
    EXPECT_EQ(packets[0].seconds, 1U);
    EXPECT_EQ(packets[0].microseconds, 500'000U);
    EXPECT_EQ(packets[1].seconds, 3600U);
    EXPECT_EQ(packets[1].microseconds, 1U);
    std::vector<Util::MessagePtr> messages;
    for (const Packet& packet : packets) {
        std::string bytes = packet.bytes;
        messages.emplace_back(g_dbus_message_new_from_blob(reinterpret_cast<guchar*>(bytes.data()), bytes.size(),
                                                           G_DBUS_CAPABILITY_FLAGS_NONE, nullptr));
        ASSERT_NE(messages.back(), nullptr);
    }
    EXPECT_STREQ(g_dbus_message_get_member(messages[0].get()), "Ask");
    EXPECT_STREQ(g_dbus_message_get_arg0(messages[0].get()), "text");
    EXPECT_EQ(g_dbus_message_get_reply_serial(messages[1].get()), 7U);
}

// The page.

TEST_F(Timeline, AsAPageHasAllOfTheRunInIt)
{
    run::Run run = Evening();
    run.remarks = {"cut off in line 3"};
    const std::string page = Written(run, "run.html");
    constexpr std::string_view kBegin = R"(<script type="application/json" id="run">)";
    const std::size_t begin = page.find(kBegin) + kBegin.size();
    const std::string data = page.substr(begin, page.find("</script>", begin) - begin);

    const ObjectPtr parsed(json_from_string(data.c_str(), nullptr));
    ASSERT_NE(parsed, nullptr) << data;
    JsonObject* object = json_node_get_object(parsed.get());
    JsonArray* entries = json_object_get_array_member(object, "entries");
    ASSERT_EQ(json_array_get_length(entries), run.entries.size());
    JsonArray* evil = json_array_get_array_element(entries, 4);
    EXPECT_STREQ(json_array_get_string_element(evil, 5), "</script><!-- <b>&\"'\x01\x7f\xef\xbf\xbd\xf0\x9f\x98\x80");
    std::vector<std::string> lanes;
    JsonArray* names = json_object_get_array_member(object, "lanes");
    for (guint index = 0; index < json_array_get_length(names); ++index) {
        lanes.emplace_back(json_array_get_string_element(names, index));
    }
    EXPECT_THAT(lanes, ElementsAre("set", "service", "connectionmanager", "neighbour.of.ours", "timers", "log"));
    EXPECT_STREQ(json_array_get_string_element(json_object_get_array_member(object, "remarks"), 0),
                 "cut off in line 3");
}

TEST_F(Timeline, AsAPageNeedsNothingElse)
{
    const std::string page = Written(Evening(), "run.html");
    EXPECT_THAT(page, HasSubstr("Content-Security-Policy\" content=\"default-src 'none'"));
    for (const char* foreign : {"src=", "href=", "@import", "url(h", "fetch(", "@RUN@"}) {
        EXPECT_THAT(page, Not(HasSubstr(foreign)));
    }
}

// The picture.

struct Elements
{
    std::map<std::string, int> counts; ///< by name and class
    std::string texts;
};

void CountElement(GMarkupParseContext*, const gchar* name, const gchar** attributes, const gchar** values,
                  gpointer elements, GError**)
{
    std::string kind = name;
    for (int index = 0; attributes[index] != nullptr; ++index) {
        kind += std::string_view(attributes[index]) == "class" ? std::string(".") + values[index] : "";
    }
    ++static_cast<Elements*>(elements)->counts[kind];
}

void KeepText(GMarkupParseContext*, const gchar* text, gsize length, gpointer elements, GError**)
{
    static_cast<Elements*>(elements)->texts.append(text, length);
}

TEST_F(Timeline, AsAPictureHasADotForEachEntryAndAnArrowForEachCause)
{
    const std::string picture = Written(Evening(), "run.svg");
    const GMarkupParser parser = {CountElement, nullptr, KeepText, nullptr, nullptr};
    Elements elements;
    const std::unique_ptr<GMarkupParseContext, Util::ReleaseWith<g_markup_parse_context_unref>> context(
        g_markup_parse_context_new(&parser, G_MARKUP_DEFAULT_FLAGS, &elements, nullptr));
    GError* failure = nullptr;
    g_markup_parse_context_parse(context.get(), picture.data(), static_cast<gssize>(picture.size()), &failure);
    ASSERT_EQ(failure, nullptr) << failure->message;
    ASSERT_TRUE(g_markup_parse_context_end_parse(context.get(), nullptr));
    EXPECT_EQ(elements.counts["circle"], 8);
    EXPECT_EQ(elements.counts["path.cause"], 6); // the cause of the last one is not in the run
    EXPECT_EQ(elements.counts["path.rail"], 6);
    EXPECT_THAT(elements.texts, HasSubstr("which firmware?"));
    EXPECT_THAT(elements.texts, HasSubstr("1:00:00.000 later"));
    EXPECT_THAT(elements.texts, HasSubstr("</script><!-- <b>&\"'  \xef\xbf\xbd\xf0\x9f\x98\x80"));
    EXPECT_THAT(picture, Not(HasSubstr("&#x")));
}

TEST_F(Timeline, OfARunInWhichNothingHappenedIsThereToo)
{
    EXPECT_THAT(Written({}, "run.html"), HasSubstr(R"("entries":[])"));
    EXPECT_THAT(Written({}, "run.svg"), HasSubstr("</svg>"));
    EXPECT_THAT(Written({}, "run.json"), HasSubstr("traceEvents"));
}

} // namespace
