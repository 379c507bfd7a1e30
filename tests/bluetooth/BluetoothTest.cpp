#include "bluetooth/BluetoothTest.h"

#include "sim/Power.h"
#include "sim/Queue.h"
#include "sim/Remotes.h"
#include "sim/Slot.h"
#include "support/MainLoop.h"
#include "support/Message.h"
#include "support/Settle.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <bt_device.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

/// What settings and features tell about themselves is the business of their own tests.
bool IsNoise(const sim::Entry& entry)
{
    return entry.file == "VconfUtil.cpp" || entry.file == "SystemConfigUtil.cpp" || entry.file == "TvStatusUtil.cpp";
}

std::string LogText(const sim::Entry& entry)
{
    return std::string(1, sim::PriorityLetter(entry.priority)) + " " + entry.message;
}

/// The name of the function that was called; empty for a read of a setting or of a feature.
std::string StepName(const sim::Entry& entry)
{
    const std::string name = entry.text.substr(0, entry.text.find('('));
    const bool isRead = name.starts_with("vconf_get_") || name.starts_with("system_info_");
    return isRead ? "" : name;
}

bool IsStepOrLog(const sim::Entry& entry)
{
    constexpr int kDebug = 3;
    return (entry.kind == sim::Kind::Call && !StepName(entry).empty()) ||
           (entry.kind == sim::Kind::Log && entry.priority != kDebug && !IsNoise(entry));
}

std::string StepOrLogText(const sim::Entry& entry)
{
    return entry.kind == sim::Kind::Call ? StepName(entry) : LogText(entry);
}

/// A service is found under a path and an interface that follow from its name.
void ExpectAddressOf(const support::Message& message)
{
    std::string path = "/" + message.destination;
    std::ranges::replace(path, '.', '/');
    EXPECT_EQ(message.path, path);
    EXPECT_EQ(message.interface, message.destination + (message.member == "StartDaemon" ? ".api" : ""));
}

std::string ToText(const support::Message& message)
{
    const std::string service = message.destination.substr(message.destination.rfind('.') + 1);
    const std::string body = message.signature.empty() ? "" : " " + message.signature + " " + message.body;
    return service + "." + message.member + body;
}

} // namespace

void BluetoothTest::Starts()
{
    handler->Init(dbus, smartRc);
    g_dbus_connection_flush_sync(dbus->GetSystemConnection(), nullptr, nullptr);
    for (support::Peer* peer : Siblings()) {
        peer->Synchronize();
    }
}

void BluetoothTest::StartsAndSettles()
{
    Starts();
    Settles();
}

void BluetoothTest::Settles()
{
    support::DrainMainLoop();
    support::Settle({&connectionManager, &connectionShift, &handsFreeAgent});
}

void BluetoothTest::TimePasses(std::chrono::milliseconds time)
{
    Settles();
    clock.Advance(time);
    Settles();
}

void BluetoothTest::Forget()
{
    Settles();
    tv.tape.Clear();
    for (support::Peer* peer : Siblings()) {
        peer->Clear();
    }
}

void BluetoothTest::IsBonded(sim::Device device)
{
    device.rssi.reset();
    tv.devices.Knows(device);
}

void BluetoothTest::WokenByBluetooth(int reason, int state, const char* address, int powerOnReason)
{
    tv.power.wakeUpReason = reason;
    tv.power.state = state;
    tv.adapter.powerOnReason = {address, powerOnReason};
}

void BluetoothTest::RemoteIsConnected()
{
    smartRc->Init(dbus);
    tv.smartRemote.Connects(kRemote);
    Settles();
}

void BluetoothTest::AdapterReports(int result, int state)
{
    tv.adapter.Reports(result, state);
    Settles();
}

void BluetoothTest::AudioReports(int result, bool connected, const char* address, int type)
{
    tv.queue.Post([=, this] { tv.audio.onConnection.Tell(result, connected, address, type); });
    Settles();
}

void BluetoothTest::HidReports(int result, bool connected, const char* address)
{
    tv.queue.Post([=, this] { tv.devices.onHid.Tell(result, connected, address); });
    Settles();
}

void BluetoothTest::GattReports(int result, bool connected, const char* address)
{
    tv.queue.Post([=, this] { tv.devices.onGatt.Tell(result, connected, address); });
    Settles();
}

void BluetoothTest::LinkReports(bool connected, const char* address, int reason)
{
    bt_device_connection_info_s info = {Writable(address), 0, reason};
    LinkReportsRecord(connected, &info);
}

void BluetoothTest::LinkReportsRecord(bool connected, bt_device_connection_info_s* info)
{
    tv.queue.Post([=, this] { tv.devices.onConnection.Tell(connected, info); });
    Settles();
}

void BluetoothTest::SlcReports(bool connected, const char* address)
{
    tv.queue.Post([=, this] { tv.audio.onServiceLevel.Tell(connected, address); });
    Settles();
}

void BluetoothTest::AvrcpControlReports(bool connected, const char* address)
{
    tv.queue.Post([=, this] { tv.audio.onControl.Tell(connected, address); });
    Settles();
}

void BluetoothTest::AvrcpTargetReports(bool connected, const char* address)
{
    tv.queue.Post([=, this] { tv.audio.onTarget.Tell(connected, address); });
    Settles();
}

void BluetoothTest::InterimVolume(const char* address, unsigned int volume)
{
    tv.queue.Post([=, this] { tv.audio.onInterimVolume.Tell(address, volume); });
    Settles();
}

void BluetoothTest::AbsoluteVolume(const char* address, unsigned int volume)
{
    tv.queue.Post([=, this] { tv.audio.onAbsoluteVolume.Tell(address, volume); });
    Settles();
}

void BluetoothTest::BondCreated(int result, bt_device_info_s* info)
{
    tv.queue.Post([=, this] { tv.devices.onBondCreated.Tell(result, info); });
    Settles();
}

void BluetoothTest::BondDestroyed(int result, const char* address)
{
    tv.queue.Post(
        [=, this] { tv.devices.onBondDestroyed.Tell(result, address != nullptr ? Writable(address) : nullptr); });
    Settles();
}

void BluetoothTest::MaxReached(int result, const char* address)
{
    tv.queue.Post([=, this] { tv.devices.onMaximum.Tell(result, address != nullptr ? Writable(address) : nullptr); });
    Settles();
}

void BluetoothTest::AuthorizationRequested(int result, const char* address, const char* name, int service)
{
    tv.queue.Post([=, this] {
        tv.devices.onAuthorization.Tell(result, address != nullptr ? Writable(address) : nullptr,
                                        name != nullptr ? Writable(name) : nullptr, service);
    });
    Settles();
}

void BluetoothTest::AuthenticationRequested(int result, int type, const char* name, const char* address,
                                            const char* passKey)
{
    tv.queue.Post([=, this] {
        tv.devices.onAuthentication.Tell(result, type, name != nullptr ? Writable(name) : nullptr,
                                         address != nullptr ? Writable(address) : nullptr,
                                         passKey != nullptr ? Writable(passKey) : nullptr);
    });
    Settles();
}

void BluetoothTest::ConsentRequested(int result, const char* name, const char* address)
{
    tv.queue.Post([=, this] {
        tv.devices.onConsent.Tell(result, name != nullptr ? Writable(name) : nullptr,
                                  address != nullptr ? Writable(address) : nullptr);
    });
    Settles();
}

void BluetoothTest::RssiAnswers(const char* address, int strength)
{
    tv.devices.AnswersRssi(address, strength);
    Settles();
}

char* BluetoothTest::Writable(const std::string& text)
{
    m_texts.push_back(std::make_unique<std::string>(text));
    return m_texts.back()->data();
}

std::vector<std::string> BluetoothTest::Received()
{
    std::vector<std::string> received;
    for (const support::Peer* peer : Siblings()) {
        for (const support::Message& message : peer->Messages()) {
            ExpectAddressOf(message);
            EXPECT_EQ(message.kind, support::Message::Kind::Call);
            received.push_back(ToText(message));
        }
    }
    return received;
}

std::vector<sim::Entry> BluetoothTest::LogEntries()
{
    std::vector<sim::Entry> logs;
    std::ranges::copy_if(tv.tape.Entries(), std::back_inserter(logs),
                         [](const sim::Entry& entry) { return entry.kind == sim::Kind::Log && IsStepOrLog(entry); });
    return logs;
}

std::vector<std::string> BluetoothTest::Logs()
{
    std::vector<std::string> texts;
    std::ranges::transform(LogEntries(), std::back_inserter(texts), LogText);
    return texts;
}

std::vector<std::string> BluetoothTest::TaggedLogs()
{
    std::vector<std::string> texts;
    std::ranges::transform(LogEntries(), std::back_inserter(texts),
                           [](const sim::Entry& entry) { return entry.tag + " " + LogText(entry); });
    return texts;
}

std::vector<std::string> BluetoothTest::LoggingFunctions()
{
    std::vector<std::string> functions;
    std::ranges::transform(LogEntries(), std::back_inserter(functions), &sim::Entry::function);
    return functions;
}

std::vector<std::string> BluetoothTest::Steps()
{
    std::vector<std::string> steps;
    for (const sim::Entry& entry : tv.tape.Entries()) {
        if (entry.kind == sim::Kind::Call && !StepName(entry).empty()) {
            steps.push_back(StepName(entry));
        }
    }
    return steps;
}

std::vector<std::string> BluetoothTest::FirstSteps(std::size_t count)
{
    std::vector<std::string> steps = Steps();
    steps.resize(std::min(count, steps.size()));
    return steps;
}

std::vector<std::string> BluetoothTest::StepsAndLogs()
{
    std::vector<std::string> texts;
    for (const sim::Entry& entry : tv.tape.Entries()) {
        if (IsStepOrLog(entry)) {
            texts.push_back(StepOrLogText(entry));
        }
    }
    return texts;
}

std::vector<std::string> BluetoothTest::StepsAndLogsFrom(std::string_view first, std::size_t count)
{
    std::vector<std::string> texts = StepsAndLogs();
    texts.erase(texts.begin(), std::ranges::find(texts, first));
    texts.resize(std::min(count, texts.size()));
    return texts;
}

std::vector<std::string> BluetoothTest::Between(std::string_view first, std::string_view second)
{
    std::vector<std::string> texts;
    for (const sim::Entry& entry : tv.tape.Entries()) {
        texts.push_back(entry.kind == sim::Kind::Log ? LogText(entry) : entry.text);
    }
    const auto has = [](std::string_view part) {
        return [part](const std::string& text) { return text.find(part) != std::string::npos; };
    };
    const auto begin = std::ranges::find_if(texts, has(first));
    const auto end = std::find_if(begin, texts.end(), has(second));
    if (begin == texts.end() || end == texts.end()) {
        ADD_FAILURE() << "not in this order: " << first << ", " << second;
        return {};
    }
    return {begin, end + 1};
}

std::string BluetoothTest::ManufacturerData()
{
    const std::vector<std::string> calls = Calls("bt_adapter_set_eir_manufacturer_data");
    const std::string last = calls.empty() ? "" : calls.back();
    const std::size_t begin = last.find('(') + 1;
    return last.substr(begin, last.rfind(')') - begin);
}
