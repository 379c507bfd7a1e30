// The power fails in the middle of a reset, or after it: whatever was written by then, and whatever of it the disk has
// kept, the next start ends with everything cleared and counted, and clears the settings at most once more.

#include "TvStatusEventHandler/TvStatusEventHandler.h"
#include "sim/Power.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "support/Child.h"
#include "support/MainLoop.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdio.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

using ::testing::AnyOf;

namespace {

constexpr int kRanToItsEnd = 42;
constexpr int kPowerFailed = 43;

constexpr const char* kDataFolder = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data";

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

/// What a disk may have lost of the counter files when the power fails.
enum class Loss
{
    Nothing,     ///< all was written in time, as if only the process had ended
    Data,        ///< new names are kept, but the files have nothing in them that was not synced
    DataAndNames ///< a name that was not synced stands for the file that it stood for before
};
constexpr std::array<Loss, 3> kLosses = {Loss::Nothing, Loss::Data, Loss::DataAndNames};

/// A disk for the counter files, which tells what was written from what is kept.
class Disk
{
public:
    /// From here on the power fails after so many steps: a setting written, half a counter or all of it, a file synced,
    /// renamed, a folder synced.
    void FailsAfter(int steps, Loss loss)
    {
        m_stepsLeft = steps;
        m_loss = loss;
    }

    void Step()
    {
        if (m_stepsLeft > 0 && --m_stepsLeft == 0) {
            FailNow();
        }
    }

    [[noreturn]] void FailNow()
    {
        m_stepsLeft = -1;
        if (m_loss != Loss::Nothing) {
            LoseData();
        }
        if (m_loss == Loss::DataAndNames) {
            LoseNames();
        }
        ::_exit(kPowerFailed);
    }

    [[nodiscard]] bool IsWatched() const
    {
        return m_stepsLeft >= 0;
    }

    void WasWritten(const std::string& path)
    {
        m_folder = std::filesystem::path(path).parent_path();
        m_unsynced.insert(InodeOf(path));
        Step();
    }

    void WasSynced(const std::string& path)
    {
        if (std::filesystem::is_directory(path)) {
            m_before.clear();
        } else {
            m_unsynced.erase(InodeOf(path));
        }
        Step();
    }

    void WillBeReplaced(const std::string& path)
    {
        std::ifstream file(path);
        m_before.try_emplace(path, std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }

private:
    static ino_t InodeOf(const std::string& path)
    {
        struct stat status = {};
        return ::stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
    }

    void LoseData()
    {
        if (m_folder.empty()) {
            return;
        }
        for (const auto& file : std::filesystem::directory_iterator(m_folder)) {
            if (m_unsynced.contains(InodeOf(file.path()))) {
                std::filesystem::resize_file(file.path(), 0);
            }
        }
    }

    /// An empty file stands for none here: the counters are never empty.
    void LoseNames()
    {
        for (const auto& [path, contents] : m_before) {
            std::filesystem::remove(path);
            if (!contents.empty()) {
                std::ofstream(path) << contents;
            }
        }
    }

    int m_stepsLeft = -1; // negative for never
    Loss m_loss = Loss::Nothing;
    std::filesystem::path m_folder;
    std::set<ino_t> m_unsynced;
    std::map<std::string, std::string> m_before;
};

Disk disk;

/// The path of an open counter file or of its folder; empty for any other file, and while nobody looks.
std::string CounterPathOf(int descriptor)
{
    std::array<char, 4096> target = {};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    if (!disk.IsWatched() || ::readlink(link.c_str(), target.data(), target.size() - 1) <= 0) {
        return {};
    }
    const std::string path = target.data();
    return path.ends_with(kDataFolder) || path.find("ResetCount.txt") != std::string::npos ? path : std::string();
}

} // namespace

// These stand before the C library's, for GLib too.
extern "C" {

ssize_t write(int descriptor, const void* bytes, size_t length)
{
    const std::string path = CounterPathOf(descriptor);
    if (path.empty()) {
        return ::syscall(SYS_write, descriptor, bytes, length);
    }
    // Half of it, as a disk may write it; whoever writes goes on with what is left, which comes here too.
    const ssize_t written = ::syscall(SYS_write, descriptor, bytes, length < 2 ? length : length / 2);
    disk.WasWritten(path);
    return written;
}

int fsync(int descriptor)
{
    const std::string path = CounterPathOf(descriptor);
    const auto result = static_cast<int>(::syscall(SYS_fsync, descriptor));
    if (!path.empty()) {
        disk.WasSynced(path);
    }
    return result;
}

int rename(const char* from, const char* to) noexcept
{
    const bool isCounter = disk.IsWatched() && std::string_view(to).ends_with("ResetCount.txt");
    if (isCounter) {
        disk.WillBeReplaced(to);
    }
    const auto result = static_cast<int>(::syscall(SYS_rename, from, to));
    if (isCounter) {
        disk.Step();
    }
    return result;
}

} // extern "C"

namespace {

/// Does this on a television of that folder, in a process of its own that may end in the middle of it.
/// \return the process's exit status
int InAProcess(const std::filesystem::path& root, const std::function<void(sim::Television&)>& work)
{
    support::Child process = support::Child::Fork([&]() -> int {
        sim::Television tv(root);
        tv.tape.SetSink([](const sim::Entry& entry) {
            if (entry.kind == sim::Kind::Call && entry.text.starts_with("vconf_set_")) {
                disk.Step();
            }
        });
        work(tv);
        ::_exit(kRanToItsEnd);
    });
    const support::ProcessEnd end = process.Wait();
    return end.how == support::ProcessEnd::How::Exited ? end.number : -1;
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
    EXPECT_EQ(tv.ReadFile(kFactoryFile), std::to_string(factory));
    EXPECT_EQ(tv.ReadFile(kServiceFile), std::to_string(service));
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

/// A set that was used and reset since its last start.
void UseAndReset(sim::Television& tv, const Reset& reset)
{
    UseTheSet(tv);
    tv.MakesFile(kFactoryFile, std::to_string(reset.factoryBefore));
    tv.MakesFile(kServiceFile, std::to_string(reset.serviceBefore));
    tv.settings.Writes(kFactoryKey, reset.factoryAfter);
    tv.settings.Writes(kServiceKey, reset.serviceAfter);
}

void ExpectOldOrNew(const sim::Television& tv, const Reset& reset)
{
    EXPECT_THAT(tv.ReadFile(kFactoryFile),
                AnyOf(std::to_string(reset.factoryBefore), std::to_string(reset.factoryAfter)));
    EXPECT_THAT(tv.ReadFile(kServiceFile),
                AnyOf(std::to_string(reset.serviceBefore), std::to_string(reset.serviceAfter)));
}

/// Cuts the power after each step of the start that follows a reset.
/// \return the number of steps that such a start has
int CutAtEachStep(const Reset& reset, Loss loss)
{
    int step = 0;
    int status = kPowerFailed;
    while (status == kPowerFailed && !::testing::Test::HasFailure()) {
        ++step;
        SCOPED_TRACE("step " + std::to_string(step) + ", loss " + std::to_string(static_cast<int>(loss)));
        const support::TempDir folder;
        EXPECT_EQ(InAProcess(folder.Path(), [&](sim::Television& tv) { UseAndReset(tv, reset); }), kRanToItsEnd);
        status = InAProcess(folder.Path(), [=](sim::Television&) {
            disk.FailsAfter(step, loss);
            CTvStatusEventHandler handler;
            StartService(handler);
        });

        sim::Television tv(folder.Path());
        ExpectOldOrNew(tv, reset);
        EXPECT_LE(StartServiceAndCount(tv), 1);
        ExpectClearedAndCounted(tv, reset.factoryAfter, reset.serviceAfter);
        UseTheSet(tv);
        EXPECT_EQ(StartServiceAndCount(tv), 0);
        EXPECT_EQ(tv.settings.Text("db/vyrel/last_btspk_name"), "old");
    }
    EXPECT_EQ(status, kRanToItsEnd);
    return step - 1;
}

// Sixteen settings; two files, each written digit by digit, synced, renamed and its folder synced.

TEST(PowerCut, AtAnyWriteOfAFactoryResetTheNextStartFinishesIt)
{
    for (const Loss loss : kLosses) {
        EXPECT_EQ(
            CutAtEachStep({.factoryBefore = 11, .serviceBefore = 20, .factoryAfter = 12, .serviceAfter = 20}, loss),
            26);
    }
}

TEST(PowerCut, AtAnyWriteOfAServiceResetTheNextStartFinishesIt)
{
    for (const Loss loss : kLosses) {
        EXPECT_EQ(
            CutAtEachStep({.factoryBefore = 11, .serviceBefore = 19, .factoryAfter = 11, .serviceAfter = 20}, loss),
            26);
    }
}

TEST(PowerCut, AtAnyWriteOfBothResetsTheNextStartFinishesThem)
{
    for (const Loss loss : kLosses) {
        EXPECT_EQ(
            CutAtEachStep({.factoryBefore = 99, .serviceBefore = 9, .factoryAfter = 100, .serviceAfter = 10}, loss),
            27);
    }
}

TEST(PowerCut, AtAnyWriteOfAFirstResetOfASingleDigitTheNextStartFinishesIt)
{
    for (const Loss loss : kLosses) {
        EXPECT_EQ(CutAtEachStep({.factoryBefore = 0, .serviceBefore = 0, .factoryAfter = 1, .serviceAfter = 0}, loss),
                  24);
    }
}

TEST(PowerCut, AtAnyWriteOfTheVeryFirstStartTheNextStartFinishesIt)
{
    for (const Loss loss : kLosses) {
        int step = 0;
        int status = kPowerFailed;
        while (status == kPowerFailed && !HasFailure()) {
            ++step;
            const support::TempDir folder;
            status = InAProcess(folder.Path(), [=](sim::Television& tv) {
                UseTheSet(tv);
                std::filesystem::create_directories(tv.PathOf(kDataFolder));
                tv.settings.Writes(kFactoryKey, 0);
                tv.settings.Writes(kServiceKey, 0);
                disk.FailsAfter(step, loss);
                CTvStatusEventHandler handler;
                StartService(handler);
            });

            sim::Television tv(folder.Path());
            for (const char* file : {kFactoryFile, kServiceFile}) {
                EXPECT_TRUE(!tv.HasFile(file) || tv.ReadFile(file) == "0") << "step " << step;
            }
            EXPECT_LE(StartServiceAndCount(tv), 1) << "step " << step;
            EXPECT_EQ(tv.settings.Text("db/vyrel/last_btspk_name"), "");
            EXPECT_EQ(StartServiceAndCount(tv), 0) << "step " << step;
        }
        EXPECT_EQ(status, kRanToItsEnd);
        EXPECT_EQ(step, 25);
    }
}

TEST(PowerCut, AfterTheStartThatFollowsAResetTheUsersNewSettingsAreNotClearedAgain)
{
    const Reset reset = {.factoryBefore = 11, .serviceBefore = 19, .factoryAfter = 12, .serviceAfter = 20};
    for (const Loss loss : kLosses) {
        const support::TempDir folder;
        EXPECT_EQ(InAProcess(folder.Path(),
                             [&](sim::Television& tv) {
                                 UseAndReset(tv, reset);
                                 disk.FailsAfter(1000, loss);
                                 CTvStatusEventHandler handler;
                                 StartService(handler);
                                 UseTheSet(tv);
                                 disk.FailNow();
                             }),
                  kPowerFailed);

        sim::Television tv(folder.Path());
        EXPECT_EQ(StartServiceAndCount(tv), 0);
        EXPECT_EQ(tv.settings.Text("db/vyrel/last_btspk_name"), "old");
    }
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
            disk.FailsAfter(step, Loss::Nothing);
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
