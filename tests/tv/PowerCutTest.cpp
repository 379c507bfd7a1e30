// The power fails in the middle of a reset: whatever was written by then, the next start ends with everything cleared
// and counted, and clears the settings at most once more.

#include "TvStatusEventHandler/TvStatusEventHandler.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"
#include "support/TempDir.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

// NOLINTBEGIN(bugprone-reserved-identifier): the linker makes these names.
extern "C" {
ssize_t __real_write(int descriptor, const void* bytes, size_t length);
ssize_t __wrap_write(int descriptor, const void* bytes, size_t length);
int __real_ftruncate(int descriptor, off_t length);
int __wrap_ftruncate(int descriptor, off_t length);
}

namespace {

constexpr int kRanToItsEnd = 42;
constexpr int kPowerFailed = 43;

constexpr const char* kFactoryFile = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/factoryResetCount.txt";
constexpr const char* kServiceFile = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/serviceResetCount.txt";
constexpr const char* kFactoryKey = "db/factory/factory_reset_count";
constexpr const char* kServiceKey = "db/factory/service_reset_count";

constexpr std::array<const char*, 11> kTextKeys = {
    "db/vyrel/last_btspk_name",
    "db/vyrel/last_btspk_addr",
    "db/vyrel/musictv_paired1",
    "db/vyrel/auto_connect_mobile_list",
    "db/vyrel/allowedSSDeviceList",
    "db/vyrel/musictv_paired4",
    "db/com.quorix.tv.bt-mdemanager/btinfosync/devices",
    "db/vyrel/last_btspk_list",
    "db/bluetooth_smartrc/rotation_stand_address",
    "db/vyrel/pairing_blocekd_devices",
    "db/vyrel/soundsharedevice/address_list",
};
constexpr std::array<const char*, 3> kNumberKeys = {
    "db/vyrel/lastSoundRoute",
    "db/menu/sound/speakersettings/soundmirroring",
    "db/vyrel/smartrc_adc_flag",
};
constexpr std::array<const char*, 2> kSwitchKeys = {
    "db/vyrel/quorix_audio_compatibility",
    "db/vyrel/last_audio_auto_connection",
};

/// Steps until the power fails; negative for never. One step is a setting written, a file cut, half of it written, or
/// all of it.
int stepsLeft = -1;

void Step()
{
    if (stepsLeft > 0 && --stepsLeft == 0) {
        ::_exit(kPowerFailed);
    }
}

bool IsCounterFile(int descriptor)
{
    std::array<char, 4096> path = {};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    return ::readlink(link.c_str(), path.data(), path.size() - 1) > 0 &&
           std::string_view(path.data()).ends_with("ResetCount.txt");
}

} // namespace

ssize_t __wrap_write(int descriptor, const void* bytes, size_t length)
{
    if (stepsLeft < 0 || length < 2 || !IsCounterFile(descriptor)) {
        const ssize_t written = __real_write(descriptor, bytes, length);
        if (stepsLeft >= 0 && IsCounterFile(descriptor)) {
            Step();
        }
        return written;
    }
    // Only the first half, as a disk may write it. The service goes on with what is left, which comes here too.
    const ssize_t written = __real_write(descriptor, bytes, length / 2);
    Step();
    return written;
}

int __wrap_ftruncate(int descriptor, off_t length)
{
    const int result = __real_ftruncate(descriptor, length);
    if (IsCounterFile(descriptor)) {
        Step();
    }
    return result;
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

/// Does this on a television of that folder, in a process of its own that may end in the middle of it.
/// \return the process's exit status
int InAProcess(const std::filesystem::path& root, const std::function<void(sim::Television&)>& work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        sim::Television tv(root);
        tv.tape.SetSink([](const sim::Entry& entry) {
            if (entry.kind == sim::Kind::Call && entry.text.starts_with("vconf_set_")) {
                Step();
            }
        });
        work(tv);
        ::_exit(kRanToItsEnd);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void UseTheSet(sim::Television& tv)
{
    for (const char* key : kTextKeys) {
        tv.settings.Writes(key, "old");
    }
    for (const char* key : kNumberKeys) {
        tv.settings.Writes(key, 5);
    }
    for (const char* key : kSwitchKeys) {
        tv.settings.Writes(key, true);
    }
}

/// A file that was cut and not written counts as 0, which is what it may stand for.
int CountIn(const sim::Television& tv, const char* file)
{
    const std::string text = tv.ReadFile(file);
    return text.empty() ? 0 : std::stoi(text);
}

void ExpectClearedAndCounted(sim::Television& tv, int factory, int service)
{
    for (const char* key : kTextKeys) {
        EXPECT_EQ(tv.settings.Text(key), "") << key;
    }
    for (const char* key : kNumberKeys) {
        EXPECT_EQ(tv.settings.Int(key), 0) << key;
    }
    for (const char* key : kSwitchKeys) {
        EXPECT_EQ(tv.settings.Bool(key), false) << key;
    }
    EXPECT_EQ(CountIn(tv, kFactoryFile), factory);
    EXPECT_EQ(CountIn(tv, kServiceFile), service);
}

void StartService(CTvStatusEventHandler& handler)
{
    handler.Init(nullptr, nullptr);
}

/// \return how often the settings were cleared
int StartServiceAndCount(sim::Television& tv)
{
    CTvStatusEventHandler handler;
    tv.tape.Clear();
    StartService(handler);
    const std::vector<std::string> lines = tv.tape.Kernel();
    tv.ServiceHasStopped();
    return static_cast<int>(std::ranges::count(lines, "[VYREL][ResetVconfKeys]START, reset vconfkeys"));
}

struct Reset
{
    int factoryBefore;
    int serviceBefore;
    int factoryAfter;
    int serviceAfter;
};

/// Cuts the power after each step of the start that follows a reset.
/// \return the number of steps that such a start has
int CutAtEachStep(const Reset& reset)
{
    int step = 0;
    int status = kPowerFailed;
    while (status == kPowerFailed) {
        ++step;
        const support::TempDir folder;
        EXPECT_EQ(InAProcess(folder.Path(),
                             [&](sim::Television& tv) {
                                 UseTheSet(tv);
                                 tv.MakesFile(kFactoryFile, std::to_string(reset.factoryBefore));
                                 tv.MakesFile(kServiceFile, std::to_string(reset.serviceBefore));
                                 tv.settings.Writes(kFactoryKey, reset.factoryAfter);
                                 tv.settings.Writes(kServiceKey, reset.serviceAfter);
                             }),
                  kRanToItsEnd);
        status = InAProcess(folder.Path(), [step](sim::Television&) {
            stepsLeft = step;
            CTvStatusEventHandler handler;
            StartService(handler);
        });

        sim::Television tv(folder.Path());
        EXPECT_LE(StartServiceAndCount(tv), 1) << "step " << step;
        ExpectClearedAndCounted(tv, reset.factoryAfter, reset.serviceAfter);
        UseTheSet(tv);
        EXPECT_EQ(StartServiceAndCount(tv), 0) << "step " << step;
        EXPECT_EQ(tv.settings.Text("db/vyrel/last_btspk_name"), "old");
        if (::testing::Test::HasFailure()) {
            break;
        }
    }
    EXPECT_EQ(status, kRanToItsEnd);
    return step - 1;
}

TEST(PowerCut, AtAnyWriteOfAFactoryResetTheNextStartFinishesIt)
{
    // Sixteen settings; two files, each cut and its two digits written one by one.
    EXPECT_EQ(CutAtEachStep({.factoryBefore = 11, .serviceBefore = 20, .factoryAfter = 12, .serviceAfter = 20}), 22);
}

TEST(PowerCut, AtAnyWriteOfAServiceResetTheNextStartFinishesIt)
{
    EXPECT_EQ(CutAtEachStep({.factoryBefore = 11, .serviceBefore = 19, .factoryAfter = 11, .serviceAfter = 20}), 22);
}

TEST(PowerCut, AtAnyWriteOfBothResetsTheNextStartFinishesThem)
{
    EXPECT_EQ(CutAtEachStep({.factoryBefore = 99, .serviceBefore = 9, .factoryAfter = 100, .serviceAfter = 10}), 23);
}

TEST(PowerCut, AtAnyWriteOfAFirstResetOfASingleDigitTheNextStartFinishesIt)
{
    EXPECT_EQ(CutAtEachStep({.factoryBefore = 0, .serviceBefore = 0, .factoryAfter = 1, .serviceAfter = 0}), 20);
}

TEST(PowerCut, AtAnyWriteOfTheVeryFirstStartTheNextStartFinishesIt)
{
    int step = 0;
    int status = kPowerFailed;
    while (status == kPowerFailed && !HasFailure()) {
        ++step;
        const support::TempDir folder;
        status = InAProcess(folder.Path(), [step](sim::Television& tv) {
            UseTheSet(tv);
            std::filesystem::create_directories(tv.PathOf(kFactoryFile).parent_path());
            tv.settings.Writes(kFactoryKey, 0);
            tv.settings.Writes(kServiceKey, 0);
            stepsLeft = step;
            CTvStatusEventHandler handler;
            StartService(handler);
        });

        sim::Television tv(folder.Path());
        EXPECT_LE(StartServiceAndCount(tv), 1) << "step " << step;
        EXPECT_EQ(tv.settings.Text("db/vyrel/last_btspk_name"), "");
        EXPECT_EQ(StartServiceAndCount(tv), 0) << "step " << step;
    }
    EXPECT_EQ(status, kRanToItsEnd);
    EXPECT_EQ(step, 21);
}

TEST(PowerCut, AtAnyWriteOfTheNoticesOfAResetTheSetStartsAgainAndIsClearedOnce)
{
    for (int step = 1; step <= 3; ++step) {
        const support::TempDir folder;
        const int status = InAProcess(folder.Path(), [step](sim::Television& tv) {
            const sim::VirtualClock clock;
            UseTheSet(tv);
            tv.MakesFile(kFactoryFile, "3");
            tv.MakesFile(kServiceFile, "0");
            tv.settings.Writes(kFactoryKey, 3);
            tv.settings.Writes(kServiceKey, 0);
            CTvStatusEventHandler handler;
            StartService(handler);
            stepsLeft = step;
            tv.power.AnnouncesStandby(13);
            tv.power.PowersOff(13);
            support::DrainMainLoop();
        });
        EXPECT_EQ(status, step <= 2 ? kPowerFailed : kRanToItsEnd);

        sim::Television tv(folder.Path());
        EXPECT_EQ(StartServiceAndCount(tv), 0); // the platform has not counted it, so it was none
        EXPECT_EQ(tv.settings.Text("db/vyrel/last_btspk_name"), "old");
        tv.settings.Writes(kFactoryKey, 4);
        EXPECT_EQ(StartServiceAndCount(tv), 1);
        ExpectClearedAndCounted(tv, 4, 0);
        EXPECT_EQ(StartServiceAndCount(tv), 0);
    }
}

} // namespace
