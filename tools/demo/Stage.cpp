#include "Stage.h"

#include "GlibPointers.h"
#include "support/MainLoop.h"
#include "support/RealTime.h"
#include "support/Settle.h"

#include <gio/gio.h>

#include <initializer_list>

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
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str())); // GLib reads it only
    }
    arguments.push_back(nullptr);
    GError* failure = nullptr;
    gint status = 0;
    gchar* written = nullptr;
    g_spawn_sync(nullptr, arguments.data(), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, &written, nullptr, &status,
                 &failure);
    const Util::ErrorPtr error(failure);
    const Util::GlibString output(written);
    narrator.Claims(!error && status == 0, "the other program did its work: " + command.front());
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
