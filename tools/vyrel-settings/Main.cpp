// vyrel-settings: reads, writes and watches the settings of the television from a shell.

#include "Options.h"
#include "settings/KeyNode.h"
#include "settings/Store.h"
#include "settings/Value.h"

#include <glib-unix.h>
#include <glib.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <variant>
#include <vector>

namespace command {
namespace {

enum ExitStatus
{
    kDone = 0,
    kNoValue = 1,
    kUsage = 2,
    kOtherType = 3,
    kFailure = 4 // of the store, or of the output
};

std::string Printed(const settings::Value& value)
{
    if (const auto* text = std::get_if<std::string>(&value); text != nullptr) {
        return *text;
    }
    if (const auto* number = std::get_if<int>(&value); number != nullptr) {
        return std::to_string(*number);
    }
    return std::get<bool>(value) ? "true" : "false";
}

// One setting stays on one line, whatever it holds.
std::string Escaped(const std::string& text)
{
    std::string line;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '\\') {
            line += "\\\\";
        } else if (character == '\n') {
            line += "\\n";
        } else if (character == '\t') {
            line += "\\t";
        } else if (byte < 0x20 || byte == 0x7f) {
            constexpr const char* kDigits = "0123456789abcdef";
            line += {'\\', 'x', kDigits[byte >> 4U], kDigits[byte & 0xfU]};
        } else {
            line += character;
        }
    }
    return line;
}

std::string Line(const std::string& key, const settings::Value& value)
{
    return Escaped(key) + "\t" + std::string(settings::TypeName(value)) + "\t" + Escaped(Printed(value)) + "\n";
}

// Writes to standard output at once. The error number, 0 for none.
int Print(const std::string& text)
{
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    return isWritten ? 0 : errno;
}

// A reader that went away has all that it wanted.
int StatusOfOutput(int error)
{
    if (error == 0 || error == EPIPE) {
        return kDone;
    }
    std::fprintf(stderr, "vyrel-settings: cannot write the output: %s\n",
                 std::generic_category().message(error).c_str());
    return kFailure;
}

int StatusOf(int result, const std::string& key)
{
    if (result == settings::kOk) {
        return kDone;
    }
    if (result == settings::kNotFound) {
        std::fprintf(stderr, "vyrel-settings: %s holds no value\n", key.c_str());
        return kNoValue;
    }
    std::fprintf(stderr, "vyrel-settings: the store cannot be used\n");
    return kFailure;
}

int Get(settings::Store& store, const Options& options)
{
    const std::string& key = options.operands.front();
    settings::Value value;
    const int status = StatusOf(store.Get(key.c_str(), &value), key);
    if (status != kDone) {
        return status;
    }
    if (options.value && options.value->index() != value.index()) {
        std::fprintf(stderr, "vyrel-settings: %s is of type %s\n", key.c_str(), settings::TypeName(value).data());
        return kOtherType;
    }
    return StatusOfOutput(Print((options.showType ? std::string(settings::TypeName(value)) : Printed(value)) + "\n"));
}

int List(settings::Store& store, const Options& options)
{
    std::vector<settings::Entry> entries;
    const int result = store.List(options.operands.empty() ? "" : options.operands.front(), &entries);
    std::string lines;
    for (const settings::Entry& entry : entries) {
        lines += Line(entry.key, entry.value);
    }
    const int status = StatusOfOutput(Print(lines));
    return result != settings::kOk ? StatusOf(result, "") : status;
}

// Prints notices until something ends it.
class Watcher
{
public:
    explicit Watcher(const Options& options) : m_options(options), m_loop(g_main_loop_new(nullptr, FALSE)) {}

    int Run(settings::Store& store)
    {
        for (const std::string& key : m_options.operands) {
            if (const int result = store.Watch(key.c_str(), &Watcher::OnChange, this); result != settings::kOk) {
                return StatusOf(result, key);
            }
        }
        g_unix_signal_add(SIGINT, &Watcher::OnSignal, this);
        g_unix_signal_add(SIGTERM, &Watcher::OnSignal, this);
        if (m_options.timeoutSeconds) {
            g_timeout_add_seconds(static_cast<guint>(*m_options.timeoutSeconds), &Watcher::OnTimeout, this);
        }
        std::fputs("watching\n", stderr);
        g_main_loop_run(m_loop.get());
        return m_status;
    }

private:
    struct Unref
    {
        void operator()(GMainLoop* loop) const
        {
            g_main_loop_unref(loop);
        }
    };

    void End(int status)
    {
        m_status = status;
        m_ended = true;
        g_main_loop_quit(m_loop.get());
    }

    static void OnChange(keynode* node, void* self)
    {
        auto* watcher = static_cast<Watcher*>(self);
        if (watcher->m_ended) {
            return;
        }
        const int error = Print(Line(node->key, node->value));
        const bool isLast = watcher->m_options.count && ++watcher->m_printed == *watcher->m_options.count;
        if (error != 0 || isLast) {
            watcher->End(StatusOfOutput(error));
        }
    }

    static gboolean OnSignal(gpointer self)
    {
        static_cast<Watcher*>(self)->End(kDone);
        return G_SOURCE_CONTINUE;
    }

    static gboolean OnTimeout(gpointer self)
    {
        auto* watcher = static_cast<Watcher*>(self);
        watcher->End(watcher->m_options.count ? kNoValue : kDone);
        return G_SOURCE_REMOVE;
    }

    const Options& m_options;
    std::unique_ptr<GMainLoop, Unref> m_loop;
    int m_printed = 0;
    int m_status = kDone;
    bool m_ended = false;
};

int Perform(const Options& options)
{
    settings::Store store(options.folders);
    switch (options.action) {
    case Action::Help:
        return StatusOfOutput(Print(kHelp));
    case Action::Get:
        return Get(store, options);
    case Action::Set:
        return StatusOf(store.Set(options.operands.front().c_str(), *options.value), options.operands.front());
    case Action::Unset:
        return StatusOf(store.Unset(options.operands.front().c_str()), options.operands.front());
    case Action::List:
        return List(store, options);
    case Action::Watch:
        return Watcher(options).Run(store);
    }
    return kUsage;
}

int Main(const std::vector<std::string>& arguments)
{
    std::string error;
    const std::optional<Options> options = ParseOptions(arguments, error);
    if (!options) {
        std::fprintf(stderr, "vyrel-settings: %s\nTry 'vyrel-settings --help'.\n", error.c_str());
        return kUsage;
    }
    std::signal(SIGPIPE, SIG_IGN);
    return Perform(*options);
}

} // namespace
} // namespace command

int main(int argc, char** argv)
{
    try {
        return command::Main(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "vyrel-settings: %s\n", exception.what());
        return command::kFailure;
    }
}
