#include "failures/Stories.h"

#include <initializer_list>
#include <string>

namespace failures {

namespace {

constexpr std::initializer_list<const char*> kSetInUse = {
    "furnish",
    "adapter delay 10ms",
    "set db/menu/network/devicename/tv_name \"Living Room\"",
    "set db/vyrel/lastSoundRoute 3",
    "set db/factory/factory_reset_count 2",
    "set db/factory/service_reset_count 0",
    "set db/comss/duid D1234",
    "file /opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/factoryResetCount.txt 2",
    "file /opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/serviceResetCount.txt 0",
    "remote firmware 0x10000001",
};

std::vector<std::string> SetInUse(std::initializer_list<const char*> more = {})
{
    std::vector<std::string> lines(kSetInUse.begin(), kSetInUse.end());
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

} // namespace

Story AStart()
{
    return {{.before = SetInUse({"speaker known", "remote connect", "wheel connect"}),
             .lines = {"wait 12s", "key 51", "wait 1s", "key 52", "wait 1s",
                       "set db/menu/network/devicename/tv_name Kitchen"}}};
}

Story ARemotesDay()
{
    return {{.before = SetInUse(),
             .lines = {"remote connect",
                       "wait 11s",
                       "remote battery adc 31",
                       "remote battery adc 14",
                       "remote battery adc 3",
                       "remote battery byte 0x0d",
                       "remote charge 1 20",
                       "remote grip",
                       "set memory/volt/firstscreen_state 1",
                       "wheel connect",
                       "wheel battery adc 14",
                       "wheel charge 1 20",
                       "set db/menu/support/use_mode 1",
                       "wait 6s",
                       "set db/comss/duid D5678",
                       "set db/vyrel/oob_status 5",
                       "set memory/factoryapp/factory_mode 1",
                       "set memory/wizard/wizard_mode OFF",
                       "set memory/touch_interactive/touch_interactive_running 1",
                       "remote sensor off",
                       "wait 2h",
                       "remote lose 1",
                       "remote connect",
                       "remote disconnect",
                       "wheel lose 1"}}};
}

Story PairingAndASpeaker()
{
    return {{.before = SetInUse(),
             .lines = {"wait 1s",
                       "phone pair 123456",
                       "phone bond",
                       "speaker ask 18",
                       "speaker pair",
                       "speaker bond",
                       "speaker connect",
                       "speaker volume 40",
                       "phone connect",
                       "keyboard bond",
                       "keyboard connect",
                       "set db/vyrel/audio_multi_output_on_off 1",
                       "keyboard disconnect",
                       "phone disconnect",
                       "phone unbond",
                       "speaker lose 1",
                       "adapter off",
                       "wait 1s",
                       "adapter on",
                       "wait 1s"}}};
}

Story ANight()
{
    return {{.before = SetInUse({"speaker known"}),
             .lines = {"wait 1s",       "remote connect",   "power picture-off", "power standby", "power down 0",
                       "power suspend", "adapter off",      "wait 1s",           "power ambient", "adapter on",
                       "wait 1s",       "power leave 0",    "power suspend",     "adapter off",   "wait 1s",
                       "power standby", "adapter on",       "wait 1s",           "power wake 1",  "power normal",
                       "wait 10s",      "remote disconnect"}}};
}

Story PowerOffWithAResetAndTheNextStart()
{
    return {{.before = SetInUse(),
             .lines = {"wait 1s", "remote connect", "wheel connect", "sibling updatemanager answer CHIP (1,)",
                       "sibling updatemanager answer SCFW (8,)", "sibling updatemanager answer HALVO (0,)",
                       "power announce suspend-off", "power standby", "power down suspend-off", "power wake 1",
                       "power normal", "power announce reset", "power standby", "power down reset",
                       "set db/factory/factory_reset_count 3"}},
            {.before = {"furnish", "adapter delay 10ms"}, .lines = {"wait 12s"}}};
}

} // namespace failures
