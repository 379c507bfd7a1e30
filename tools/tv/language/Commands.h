#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace language {

/// What is done; one for each line of the table.
enum class Verb
{
    // A remote or the wheel.
    RemoteConnects,
    RemoteDisconnects,
    RemoteIsLost,
    RemoteIsKnown,
    BatteryLevel,
    BatteryByte,
    Charges,
    RemoteType,
    RemoteFirmware,
    RemoteAddress,
    RemoteIsGripped,
    GripSensor,
    // A speaker, a phone or a keyboard.
    DeviceConnects,
    DeviceDisconnects,
    DeviceIsLost,
    DeviceAsks,
    DevicePairs,
    DeviceBonds,
    DeviceIsKnown,
    DeviceUnbonds,
    DeviceName,
    DeviceAddress,
    LowEnergy,
    SpeakerVolume,
    Stand,
    // The set.
    PowerGoes,
    PowerAmbient,
    PowerState,
    PowerOff,
    PowerDown,
    PowerAnnounce,
    PowerLeave,
    PowerWake,
    AdapterGoes,
    AdapterReports,
    AdapterDelay,
    AdapterPoweredOnBy,
    Set,
    Unset,
    Get,
    Furnish,
    Feature,
    Flag,
    File,
    RemoveFile,
    Disk,
    Light,
    Key,
    // The others on the bus.
    SiblingAnswers,
    SiblingSlow,
    SiblingHangs,
    SiblingError,
    SiblingAbsent,
    SiblingAnswer,
    SiblingEmits,
    BusIsHidden,
    BusRestart,
    // Failures and time.
    ReportRemote,
    ReportEmpty,
    ReportRequest,
    ReportPower,
    Strength,
    Fail,
    Recover,
    Wait,
    NextTimer,
    Clock,
    ClockIsSet,
    // The one who drives.
    Plug,
    Unplug,
    Save,
    Record,
    Why,
    WhyNot,
    Help,
    Quit,
    // A story, and what is expected of it.
    Story,
    Within,
    ExpectCall,
    ExpectNoCall,
    ExpectNothing,
    ExpectSetting,
    ExpectFile,
    ExpectLog,
    ExpectNoLog,
    ExpectFunction,
    ExpectNoFunction,
    ExpectEntry,
    ExpectNoEntry,
    ExpectWhy,
    ExpectWhyNot,
    ExpectRunning,
    ExpectStopped,
};

/// Who carries a line out.
enum class By
{
    Set,   ///< the process with the television
    Front, ///< the one that drives it
    Tester ///< holds what happened against what should have
};

/// A line that is understood.
struct Command
{
    Verb verb;
    By by;
    /// Words as they are, alternatives with | between them, arguments in capitals, those that may be left out in
    /// brackets,
    /// "..." behind one that takes the rest of the line.
    std::string_view syntax;
    std::string_view help; ///< one sentence without a full stop
};

/// All of them, in the order in which help tells them.
std::span<const Command> Commands();

/// The siblings by their short names.
std::vector<std::string> SiblingNames();

/// A kind of argument, by its name in the syntax.
struct Kind
{
    std::string_view name;
    std::string_view means; ///< what is taken: "a number from 0 to 31"
    bool (*accepts)(std::string_view text);
    std::vector<std::string> (*choices)(); ///< all that is taken, or what is usual; null for none
};
/// Every name in the table has one.
const Kind& KindOf(std::string_view name);

} // namespace language
