#include "remotes/RemotesTest.h"

#include "sim/Features.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "support/MainLoop.h"
#include "support/Message.h"
#include "support/Settle.h"

#include <bt_hid.h>

#include <algorithm>
#include <cstdio>
#include <functional>

RemotesTest::RemotesTest()
{
    tv.smartRemote.gripSensor = BT_SC_GRIP_SENSOR_NOT_AVAILABLE;
    tv.smartRemote.fwVersion = kPlainVersion;
    remotes = std::make_shared<CSmartRcEventHandler>();
}

RemotesTest::~RemotesTest()
{
    // Timers that are still pending never fire: nothing runs the loop any more.
    remotes->Deinit();
    tv.ServiceHasStopped();
}

void RemotesTest::Starts()
{
    remotes->Init(m_dbusClient);
    Settle();
    tv.tape.Clear();
}

void RemotesTest::Settle()
{
    support::DrainMainLoop();
}

void RemotesTest::Passes(std::chrono::milliseconds time)
{
    m_clock.Advance(time);
}

void RemotesTest::RemoteConnects(const std::string& address)
{
    tv.smartRemote.Connects(address);
    Settle();
}

void RemotesTest::RemoteGoes()
{
    tv.smartRemote.Disconnects();
    Settle();
}

void RemotesTest::WheelConnects(const std::string& address)
{
    tv.wheel.Connects(address);
    Settle();
}

void RemotesTest::WheelGoes()
{
    tv.wheel.Disconnects();
    Settle();
}

void RemotesTest::RemoteReports(unsigned char battery)
{
    tv.tape.Clear();
    tv.smartRemote.ReportsBattery(battery);
    Settle();
}

void RemotesTest::WheelReports(unsigned char battery)
{
    tv.tape.Clear();
    tv.wheel.ReportsBattery(battery);
    Settle();
}

void RemotesTest::Writes(const char* key, int value)
{
    tv.settings.Writes(key, value);
    Settle();
}

void RemotesTest::Writes(const char* key, const char* value)
{
    tv.settings.Writes(key, value);
    Settle();
}

void RemotesTest::IsHalvoMonitor()
{
    tv.features.Has("product.is_game_screen_monitor");
}

std::vector<std::string> RemotesTest::Deeds()
{
    std::vector<std::string> deeds;
    for (const sim::Entry& entry : tv.tape.Entries()) {
        if ((entry.kind == sim::Kind::Call && !entry.query) || entry.kind == sim::Kind::Kpi) {
            deeds.push_back(entry.text);
        }
    }
    return deeds;
}

std::vector<std::string> RemotesTest::Deeds(std::string_view function)
{
    return tv.tape.Calls({function});
}

std::vector<std::string> RemotesTest::Said(std::string_view function)
{
    std::vector<std::string> lines = tv.tape.MessagesFrom(function);
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("D "); });
    return lines;
}

bool RemotesTest::HasSaid(const std::string& line)
{
    return TimesSaid(line) > 0;
}

int RemotesTest::TimesSaid(const std::string& line)
{
    const std::vector<std::string> lines = tv.tape.Messages();
    return static_cast<int>(std::ranges::count(lines, line));
}

std::vector<std::string> RemotesTest::Heard()
{
    support::Settle({&m_connectionManager, &m_irMonitor});
    std::vector<std::string> heard;
    for (const support::Message& call : m_connectionManager.Calls()) {
        heard.push_back(call.member + (call.signature.empty() ? "" : " " + call.signature + " " + call.body));
    }
    for (const support::Message& call : m_irMonitor.Calls()) {
        heard.push_back("irmonitor " + call.member + call.body);
    }
    m_connectionManager.Clear();
    m_irMonitor.Clear();
    return heard;
}

namespace {

std::string Byte(int value)
{
    std::string text(5, '\0');
    std::snprintf(text.data(), text.size(), "0x%02x", static_cast<unsigned int>(value));
    text.pop_back();
    return text;
}

std::string InQuotes(const char* text)
{
    return std::string("\"") + text + "\"";
}

std::string Result(int result)
{
    return ") = " + std::to_string(result);
}

} // namespace

std::string RemotesTest::Watch(const char* key)
{
    return "vconf_notify_key_changed(" + InQuotes(key) + Result(0);
}

std::string RemotesTest::Unwatch(const char* key, int result)
{
    return "vconf_ignore_key_changed(" + InQuotes(key) + Result(result);
}

std::string RemotesTest::Set(const char* key, const char* value)
{
    return "vconf_set_str(" + InQuotes(key) + ", " + InQuotes(value) + Result(0);
}

std::string RemotesTest::Set(const char* key, int value)
{
    return "vconf_set_int(" + InQuotes(key) + ", " + std::to_string(value) + Result(0);
}

std::string RemotesTest::Command(const char* address, int deviceType, int command, int result)
{
    return "bt_hid_send_device_command(" + InQuotes(address) + ", " + Byte(deviceType) + ", " + Byte(command) +
           Result(result);
}

std::string RemotesTest::RcCommand(const char* address, const char* bytes, int result)
{
    const std::size_t length = (std::string_view(bytes).size() + 1) / 3;
    return "bt_hid_send_rc_command(" + InQuotes(address) + ", [" + bytes + "], " + std::to_string(length) +
           Result(result);
}

std::string RemotesTest::NoLatency(const char* address, int result)
{
    return "bt_hid_set_conn_no_latency(" + InQuotes(address) + ", true" + Result(result);
}

std::string RemotesTest::DuidSent(const char* address, const char* duid, int result)
{
    return "bt_hid_send_duid(" + InQuotes(address) + ", " + InQuotes(duid) + Result(result);
}

std::string RemotesTest::Solar(int adc, int lux, int status, int harvestTime)
{
    return "25_remocon SOLARCHARGE EV016 {adc=" + std::to_string(adc) + ";lux=" + std::to_string(lux) +
           ";status=" + std::to_string(status) + ";harvtime=" + std::to_string(harvestTime) + "}";
}
