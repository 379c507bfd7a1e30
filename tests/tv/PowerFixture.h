#pragma once

#include "DbusClient/DbusClient.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "TvStatusEventHandler/TvStatusEventHandler.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"
#include "support/PrivateBus.h"
#include "support/Settle.h"
#include "support/Siblings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

constexpr const char* kFactoryCountFile = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/factoryResetCount.txt";
constexpr const char* kServiceCountFile = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/serviceResetCount.txt";
constexpr const char* kFactoryCountKey = "db/factory/factory_reset_count";
constexpr const char* kServiceCountKey = "db/factory/service_reset_count";

constexpr const char* kConnectionManager = "com.quorix.tv.bt.connectionmanager";

/// A set whose counters tell of no reset, with a bus, on which the power handler and what it works with have started.
class PowerLife : public ::testing::Test
{
protected:
    PowerLife()
    {
        clock.OnSleep([this](std::chrono::microseconds time) {
            tv.tape.Record({.kind = sim::Kind::Sleep, .text = "sleep " + std::to_string(time.count() / 1000) + " ms"});
        });
        tv.settings.Writes(kFactoryCountKey, 0);
        tv.settings.Writes(kServiceCountKey, 0);
        tv.MakesFile(kFactoryCountFile, "0");
        tv.MakesFile(kServiceCountFile, "0");
        tv.adapter.state = BT_ADAPTER_ENABLED;
        dbus->Init();
        remotes->Init(dbus);
        handler->Init(dbus, remotes);
        Settle();
        tv.tape.Clear();
    }

    /// What the service did: calls that do something, messages, kernel-log lines, locks, timers and sleeps, in order.
    /// Timers lose their numbers.
    [[nodiscard]] std::vector<std::string> Deeds() const
    {
        return Story({}, true);
    }

    /// Log lines of these functions, with their priority, in order.
    [[nodiscard]] std::vector<std::string> LogOf(const std::vector<std::string>& functions) const
    {
        return Story(functions, false);
    }

    /// What the service did and what these functions logged about it, in one order.
    [[nodiscard]] std::vector<std::string> DeedsAndLogOf(const std::vector<std::string>& functions) const
    {
        return Story(functions, true);
    }

    /// Both remotes connect, and what that brings about is forgotten.
    void RemotesConnect()
    {
        tv.smartRemote.Connects("AA:BB:CC:DD:EE:01");
        tv.wheel.Connects("AA:BB:CC:DD:EE:02");
        Settle();
        tv.tape.Clear();
    }

    static void Settle()
    {
        support::DrainMainLoop();
    }

    /// A change of state with a record of the test's own.
    void Changes(int previousState, int newState, int previousAmbient = 0, int newAmbient = 0)
    {
        const device_power_state_info info = {0, 0, previousState, newState, previousAmbient, newAmbient};
        tv.power.state = newState;
        tv.power.ambientMode = newAmbient;
        tv.power.TellsStateChange(&info);
        Settle();
    }

    static std::string StateSignal(int previousState, int newState, int previousAmbient = 0, int newAmbient = 0)
    {
        return "signal com.quorix.tv.bt.connectionmanager PowerStateChanged (iiiiii) (0, 0, " +
               std::to_string(previousState) + ", " + std::to_string(newState) + ", " +
               std::to_string(previousAmbient) + ", " + std::to_string(newAmbient) + ")";
    }

    support::PrivateBus bus;
    sim::Television tv;
    sim::VirtualClock clock;
    std::shared_ptr<CDbusClient> dbus = std::make_shared<CDbusClient>();
    std::shared_ptr<CSmartRcEventHandler> remotes = std::make_shared<CSmartRcEventHandler>();
    std::unique_ptr<CTvStatusEventHandler> handler = std::make_unique<CTvStatusEventHandler>();

private:
    [[nodiscard]] std::vector<std::string> Story(const std::vector<std::string>& functions, bool withDeeds) const
    {
        std::vector<std::string> story;
        for (const sim::Entry& entry : tv.tape.Entries()) {
            if (entry.kind == sim::Kind::Log) {
                if (std::ranges::find(functions, entry.function) != functions.end()) {
                    story.push_back(std::string(1, sim::PriorityLetter(entry.priority)) + " " + entry.message);
                }
            } else if (withDeeds && !entry.query && entry.kind != sim::Kind::Note) {
                story.push_back(WithoutTimerNumber(entry));
            }
        }
        return story;
    }

    static std::string WithoutTimerNumber(const sim::Entry& entry)
    {
        if (entry.kind != sim::Kind::Timer) {
            return entry.text;
        }
        const std::size_t end = entry.text.find_first_of(": ", std::string("timer ").size());
        return "timer" + entry.text.substr(end);
    }
};
