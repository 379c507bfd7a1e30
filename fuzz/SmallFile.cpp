// The files that the service reads: /tmp/solar, which anybody can write, and its own copies of the reset counters.

#include "Input.h"
#include "ResetChecker/ResetChecker.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "Target.h"
#include "sim/Remotes.h"
#include "sim/Television.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace {

constexpr const char* kData = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/";

void CheckCounters(sim::Television& tv, const std::string& text)
{
    tv.MakesFile(std::string(kData) + "factoryResetCount.txt", text);
    tv.MakesFile(std::string(kData) + "serviceResetCount.txt", text);
    const ResetChecker checker;
    checker.isReset();
    try {
        const int count = checker.getFactoryResetCountFromPreference();
        checker.setServiceResetCountToPreference(count);
        fuzz::Expect(checker.getServiceResetCountFromPreference() == count, "a counter is read as it was written");
    } catch (const std::runtime_error&) {
        // A file that holds no count.
    }
}

void ReportBattery(sim::Television& tv, const std::string& text)
{
    constexpr unsigned int kSolarVersion = 0x10000123;
    tv.MakesFile("/tmp/solar", text);
    const CSmartRcEventHandler remotes;
    remotes.HandleSolarCellRemoteBatteryStatus("AA:BB:CC:DD:EE:01", kSolarVersion, 0);
    remotes.HandleHalvoWheelBatteryStatus("AA:BB:CC:DD:EE:11", 0);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(fuzz::Input(data, size).Rest());
    sim::Television tv;
    CheckCounters(tv, text);
    ReportBattery(tv, text);
    return 0;
}
