// The floors of the events in ./bench: what each of them asks of the platform and sends is what the service does.

#include "Bluetooth/BluetoothEventHandler.h"
#include "DbusClient/DbusClient.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "TvStatusEventHandler/TvStatusEventHandler.h"
#include "bluetooth/BluetoothTest.h"
#include "events.h"
#include "sim/Audio.h"
#include "sim/Power.h"
#include "sim/Remotes.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <device_power.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

using testing::Contains;
using testing::ElementsAreArray;
using testing::StartsWith;

namespace {

constexpr int kA2dp = 2;

class EventFloors : public BluetoothTest
{
protected:
    EventFloors()
    {
        tv.smartRemote.fwVersion = bench::kRemoteVersion;
        IsBonded({.address = bench::kSpeaker});
        StartsAndSettles();
        smartRc->Init(dbus);
        power.Init(dbus, smartRc);
        tv.smartRemote.Connects(bench::kRemote);
        Forget();
    }

    ~EventFloors() override
    {
        power.Deinit();
        smartRc->Deinit();
        handler->Deinit();
        tv.ServiceHasStopped();
    }

    /// Calls of the platform, usage events and messages since this was last called, in order.
    std::vector<std::string> WhatWasDone()
    {
        Settles();
        std::vector<std::string> done;
        for (const sim::Entry& entry : tv.tape.Entries()) {
            if (entry.kind == sim::Kind::Call || entry.kind == sim::Kind::Kpi || entry.kind == sim::Kind::Bus) {
                done.push_back(entry.text);
            }
        }
        Forget();
        return done;
    }

    CTvStatusEventHandler power;
};

TEST_F(EventFloors, ABatteryReportAsksAndSendsNoMoreThanItsFloor)
{
    tv.smartRemote.ReportsBattery(bench::kLowBattery);
    const std::vector<std::string> byService = WhatWasDone();
    bench::FloorBatteryReport(dbus->GetSystemConnection());

    EXPECT_THAT(byService, Contains(StartsWith("call com.quorix.tv.bt.connectionmanager SmartRcBatteryNotify")));
    EXPECT_THAT(WhatWasDone(), ElementsAreArray(byService));
}

TEST_F(EventFloors, AChangeToStandbyAsksAndSendsNoMoreThanItsFloor)
{
    tv.power.GoesTo(DEVICE_POWER_STATE_STANDBY);
    const std::vector<std::string> byService = WhatWasDone();
    bench::FloorStandby(dbus->GetSystemConnection());

    EXPECT_THAT(byService, Contains(StartsWith("signal com.quorix.tv.bt.connectionmanager")).Times(2));
    EXPECT_THAT(WhatWasDone(), ElementsAreArray(byService));
}

TEST_F(EventFloors, AnA2dpConnectionAsksAndSendsNoMoreThanItsFloor)
{
    tv.audio.Connects(bench::kSpeaker, kA2dp);
    const std::vector<std::string> byService = WhatWasDone();
    bench::FloorA2dpConnection(dbus->GetSystemConnection()); // the siblings of a test answer without a body

    EXPECT_THAT(byService, Contains(StartsWith("ask com.quorix.tv.bt.connection")).Times(2));
    EXPECT_THAT(WhatWasDone(), ElementsAreArray(byService));
}

} // namespace
