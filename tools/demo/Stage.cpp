#include "Stage.h"

#include "GlibPointers.h"
#include "demo/Narrator.h"
#include "sim/Tape.h"
#include "support/MainLoop.h"
#include "support/RealTime.h"
#include "support/Settle.h"

#include <gio/gio.h>

#include <initializer_list>
#include <memory>

namespace demo {

Stage::Stage(sim::Television& television, sim::VirtualClock* virtualClock, Narrator& storyteller)
    : tv(television),
      narrator(storyteller),
      m_clock(virtualClock)
{
    for (support::Sibling* sibling :
         std::initializer_list<support::Sibling*>{&manager, &shift, &agent, &updates, &monitor}) {
        sibling->ExpectViolations(); // they are counted, and told in the summary
    }
}

void Stage::Settles()
{
    support::Settle({&manager, &shift, &agent, &updates, &monitor});
}

void Stage::Passes(std::chrono::milliseconds time)
{
    Settles();
    if (m_clock != nullptr) {
        m_clock->Advance(time);
    } else {
        const auto end = support::RealTime::Now() + time;
        support::IterateUntil([&] { return support::RealTime::Now() >= end; }, time * 2);
    }
    Settles();
}

std::string Stage::Runs(const std::vector<std::string>& command)
{
    std::vector<const char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& argument : command) {
        arguments.push_back(argument.c_str());
    }
    arguments.push_back(nullptr);
    GError* failure = nullptr;
    gchar* written = nullptr;
    const std::unique_ptr<GSubprocess, Util::ReleaseWith<g_object_unref>> program(
        g_subprocess_newv(arguments.data(), G_SUBPROCESS_FLAGS_STDOUT_PIPE, &failure));
    const bool ended =
        program && g_subprocess_communicate_utf8(program.get(), nullptr, nullptr, &written, nullptr, &failure) != FALSE;
    const Util::ErrorPtr error(failure);
    const Util::GlibString output(written);
    narrator.Claims(ended && g_subprocess_get_successful(program.get()) != FALSE,
                    "the other program did its work: " + command.front() +
                        (error ? std::string(", ") + error->message : ""));
    std::string text = output ? output.get() : "";
    return text.substr(0, text.find_last_not_of('\n') + 1);
}

void Stage::KeyRouterReports(int code)
{
    tv.tape.Note("the key router reports the key sequence " + std::to_string(code));
    Runs({VYREL_GDBUS, "emit", "--system", "--object-path", "/com/tarnwick/dbus/ping", "--signal",
          "keyrouter.dbus.Signal.KEY_COMBINATION", std::to_string(code)});
    Settles();
}

void Stage::AnotherProgramWrites(const std::string& key, const std::string& type, const std::string& value)
{
    tv.tape.Note("another program writes " + key + " = " + value);
    Runs({VYREL_SETTINGS, "--root", tv.Root(), "set", key, "--" + type, value});
    Settles();
}

std::string Stage::AnotherProgramReads(const std::string& key)
{
    std::string value = Runs({VYREL_SETTINGS, "--root", tv.Root(), "get", key});
    tv.tape.Note("another program reads " + key + ": " + value);
    return value;
}

std::vector<std::string> Stage::Violations() const
{
    std::vector<std::string> all;
    for (const support::Sibling* sibling :
         std::initializer_list<const support::Sibling*>{&manager, &shift, &agent, &updates, &monitor}) {
        for (const std::string& violation : sibling->Violations()) {
            all.push_back(violation);
        }
    }
    return all;
}

} // namespace demo
