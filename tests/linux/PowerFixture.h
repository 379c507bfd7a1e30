#pragma once

#include "linux/Logind.h"
#include "linux/PlatformLog.h"
#include "linux/Root.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"
#include "support/PrivateBus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <device_power.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace linux_test {

/// A box on a private bus, whose power notices and requests to logind stand on one record, in their order.
class PowerTest : public ::testing::Test
{
protected:
    static constexpr const char* kDelay = "delay sleep:shutdown by vyrel-lite";
    static constexpr const char* kBlock = "block sleep:shutdown by vyrel-lite";

    ~PowerTest() override
    {
        // A virtual clock that ends first would set the time back under what is still waiting.
        Unsubscribes();
    }

    void Subscribes()
    {
        device_power_subscribe_ambient_poweroff(OnAmbient, this);
        device_power_subscribe_poweroff_event(OnPowerOff, this);
        device_power_subscribe_post_poweroff_event(OnPostPowerOff, this);
        device_power_subscribe_wakeup(OnWakeUp, this);
        device_power_subscribe_state_changed_event(OnState, this);
        device_power_subscribe_standby(OnStandby, this);
    }

    static void Unsubscribes()
    {
        device_power_unsubscribe_ambient_poweroff(OnAmbient);
        device_power_unsubscribe_poweroff_event(OnPowerOff);
        device_power_unsubscribe_post_poweroff_event(OnPostPowerOff);
        device_power_unsubscribe_wakeup(OnWakeUp);
        device_power_unsubscribe_state_changed_event(OnState);
        device_power_unsubscribe_standby(OnStandby);
    }

    /// The box has started, and holds logind back.
    void Starts()
    {
        Subscribes();
        ASSERT_TRUE(logind.WaitForHolds({kDelay}));
    }

    void Record(const std::string& what)
    {
        {
            const std::lock_guard lock(m_mutex);
            m_record.push_back(what);
        }
        const auto reaction = std::find_if(reactions.begin(), reactions.end(),
                                           [&](const auto& one) { return what.starts_with(one.first); });
        if (reaction != reactions.end()) {
            reaction->second();
        }
    }

    std::vector<std::string> Happened()
    {
        const std::lock_guard lock(m_mutex);
        return m_record;
    }

    void Forgets()
    {
        const std::lock_guard lock(m_mutex);
        m_record.clear();
    }

    /// Runs the default main context until the last that happened is \p what.
    bool Until(const std::string& what)
    {
        return support::IterateUntil([&] {
            const std::vector<std::string> happened = Happened();
            return !happened.empty() && happened.back() == what;
        });
    }

    /// Lets all that is on its way arrive.
    void Rests()
    {
        for (int round = 0; round < 5; ++round) {
            logind.Synchronize();
            support::DrainMainLoop();
        }
    }

    /// Lets time pass until it is \p time after \p start, by the clock's Elapsed(); the real time that a busy machine
    /// took since then counts too. Nothing is dispatched after that.
    void PassesTo(std::chrono::milliseconds start, std::chrono::milliseconds time)
    {
        Rests();
        const std::chrono::milliseconds left = start + time - clock.Elapsed();
        if (left.count() > 0) {
            clock.Advance(left);
        }
    }

    /// Nothing may be on its way on the bus: its answers would come too late.
    void Passes(std::chrono::milliseconds time)
    {
        Rests();
        clock.Advance(time);
        Rests();
    }

    support::PrivateBus bus;
    sim::VirtualClock clock;
    Logind logind{[this](const std::string& request) { Record("logind: " + request); }};
    /// What a receiver does when it is told something that begins like this. For those on the main thread.
    std::vector<std::pair<std::string, std::function<void()>>> reactions;

private:
    static PowerTest& Self(void* self)
    {
        return *static_cast<PowerTest*>(self);
    }
    static int OnAmbient(device_poweroff_info* info, void* self)
    {
        Self(self).Record("ambient power-off " + std::to_string(info->option));
        return 0;
    }
    static int OnPowerOff(device_poweroff_info* info, void* self)
    {
        Self(self).Record("power-off " + std::to_string(info->option));
        return 0;
    }
    static int OnPostPowerOff(device_poweroff_info* info, void* self)
    {
        Self(self).Record("post-power-off " + std::to_string(info->option));
        return 0;
    }
    static int OnWakeUp(int reason, void* self)
    {
        Self(self).Record("wake-up " + std::to_string(reason));
        return 0;
    }
    static int OnState(device_power_state_info* info, void* self)
    {
        Self(self).Record("state " + std::to_string(info->prev_state) + "->" + std::to_string(info->new_state) +
                          " ambient " + std::to_string(info->prev_ambient_mode) + "->" +
                          std::to_string(info->new_ambient_mode) + " by " + std::to_string(info->f1));
        return 0;
    }
    static int OnStandby(int option, void* self)
    {
        Self(self).Record("standby " + std::to_string(option));
        return 0;
    }

    std::mutex m_mutex;
    std::vector<std::string> m_record;
};

} // namespace linux_test
