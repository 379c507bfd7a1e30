// A television that is made of words, for the tests of the page: each line of the standard input is an object that the
// pages are told ({"told":…} is not, but echoed, when all before it has been), each line that a page submits is written
// to the standard output, as {"line":…}. The first line of the output is where the page is: {"address":…}. It ends with
// its input.

#include "GlibPointers.h"
#include "people/Json.h"
#include "tv/front/Feed.h"
#include "tv/page/Server.h"

#include <gio/gio.h>
#include <gio/gunixinputstream.h>
#include <glib-unix.h>

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using people::json::Object;
using people::json::Text;

void Says(const char* what, std::string_view text)
{
    std::printf("%s\n", Object({{what, Text(text)}}).c_str());
    std::fflush(stdout);
}

class FakeFeed : public front::Feed
{
public:
    Subscription Subscribe(Listener listener) override
    {
        auto subscription = std::make_shared<const Listener>(std::move(listener));
        (*subscription)(m_hello);
        for (const std::string& entry : m_entries) {
            (*subscription)(entry);
        }
        (*subscription)(m_state);
        m_listeners.push_back(subscription);
        Says("opened", std::to_string(m_listeners.size()));
        return subscription;
    }

    void Submit(std::string_view line) override
    {
        Says("line", line);
    }

    void Happens(const std::string& object)
    {
        if (object.starts_with(R"({"hello")")) {
            m_hello = object;
        } else if (object.starts_with(R"({"state")")) {
            m_state = object;
        } else if (object.starts_with(R"({"id")")) {
            m_entries.push_back(object);
            if (m_entries.size() > kMostEntries) {
                m_entries.pop_front();
            }
        }
        if (object.starts_with(R"({"told")")) {
            Says("told", object);
            return;
        }
        for (const auto& listener : std::vector(m_listeners)) {
            if (const auto held = listener.lock()) {
                (*held)(object);
            }
        }
    }

private:
    std::string m_hello = R"({"hello":{"commands":[],"functions":[],"lanes":[]}})";
    std::string m_state = R"({"state":{}})";
    std::deque<std::string> m_entries;
    std::vector<std::weak_ptr<const Listener>> m_listeners;
};

struct Front
{
    FakeFeed feed;
    Util::MainLoopPtr loop{g_main_loop_new(nullptr, FALSE)};
    std::unique_ptr<GDataInputStream, Util::ReleaseWith<g_object_unref>> input;
};

void ReadsOn(Front& front);

void OnLine(GObject* /*source*/, GAsyncResult* result, gpointer self)
{
    auto* front = static_cast<Front*>(self);
    const Util::GlibString line(g_data_input_stream_read_line_finish(front->input.get(), result, nullptr, nullptr));
    if (!line) {
        g_main_loop_quit(front->loop.get());
        return;
    }
    front->feed.Happens(line.get());
    ReadsOn(*front);
}

void ReadsOn(Front& front)
{
    g_data_input_stream_read_line_async(front.input.get(), G_PRIORITY_DEFAULT, nullptr, OnLine, &front);
}

} // namespace

int main(int count, char** arguments)
{
    try {
        Front front;
        GInputStream* stream = g_unix_input_stream_new(STDIN_FILENO, FALSE);
        front.input.reset(g_data_input_stream_new(stream));
        g_object_unref(stream);
        const page::Server server(front.feed, static_cast<std::uint16_t>(count > 1 ? std::atoi(arguments[1]) : 0));
        Says("address", server.Address());
        ReadsOn(front);
        g_main_loop_run(front.loop.get());
    } catch (const std::exception& error) {
        Says("error", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
