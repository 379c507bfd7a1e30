// What other programs write into the settings, of whatever type, while the service watches: a write a line, "iKEY=5",
// "bKEY=1", "sKEY=text"; "-KEY" removes; any other line lets time pass.

#include "Input.h"
#include "Service.h"
#include "Target.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Television.h"

#include <settings/Store.h>
#include <settings/Value.h>

#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

/// Not all of its letters can stand in a setting: what the store refuses, nobody writes.
bool CanBeWritten(const std::string& key, const std::string& value)
{
    return settings::Store::Objection(key, value).empty() && key.find('\0') == std::string::npos;
}

int ToNumber(const std::string& text)
{
    int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

void Happens(fuzz::Service& set, const std::string& line)
{
    fuzz::Input event(reinterpret_cast<const std::uint8_t*>(line.data()), line.size());
    const char what = event.Letter();
    const std::string key = event.Until('=');
    const std::string value(event.Rest());
    if (!CanBeWritten(key, value)) {
        return set.TimePasses(std::chrono::seconds(6));
    }
    switch (what) {
    case 'i':
        set.tv.settings.Writes(key.c_str(), ToNumber(value));
        break;
    case 'b':
        set.tv.settings.Writes(key.c_str(), value == "1");
        break;
    case 's':
        set.tv.settings.Writes(key.c_str(), value);
        break;
    case '-':
        set.tv.settings.Removes(key.c_str());
        break;
    default:
        set.TimePasses(std::chrono::seconds(6));
        break;
    }
    set.Settles();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr int kMostEvents = 20;
    fuzz::Input input(data, size);
    fuzz::Service set;
    set.tv.smartRemote.Connects("AA:BB:CC:DD:EE:01");
    set.tv.wheel.Connects("AA:BB:CC:DD:EE:11");
    set.Settles();
    for (int event = 0; event < kMostEvents && !input.IsAtEnd(); ++event) {
        Happens(set, input.Until('\n'));
    }
    return 0;
}
