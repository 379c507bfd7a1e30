// clang-format off
// Makes the components, starts and stops them in order. Whoever reads the logs knows these statements by their lines.
#include "AutoSwitchingLauncher/AutoSwitchingLauncher.h"
#include "Bluetooth/BluetoothEventHandler.h"
#include "DbusClient/DbusClient.h"
#include "GlibPointers.h"
#include "LiteDebug.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "StopHook/StopHook.h"
#include "TvStatusEventHandler/TvStatusEventHandler.h"
#include "VconfChangedHandler/VconfChangedHandler.h"
#include <exception>
int main()
try {
    API_TRACE();

    try {
        LOGE("enter vyrel-lite");
        Util::MainLoopPtr loop(g_main_loop_new(nullptr, FALSE));
        const auto bluetooth = std::make_unique<CBluetoothEventHandler>();
        const auto tvStatus = std::make_unique<CTvStatusEventHandler>();
        const auto settings = std::make_unique<CVconfChangedHandler>();
        const auto dbus = std::make_shared<CDbusClient>();
        const auto smartRc = std::make_shared<CSmartRcEventHandler>();
        const auto launcher = std::make_unique<AutoSwitchingLauncher>();
        const StopHook stopHook(loop.get());
        dbus->Init();
        bluetooth->Init(dbus, smartRc);
        smartRc->Init(dbus);
        tvStatus->Init(dbus, smartRc);
        settings->Init(dbus);
        launcher->Launch();

        LOGE("run main loop of vyrel-lite");
        g_main_loop_run(loop.get());
        loop.reset();
        LOGE("Deinit vyrel-lite");
        bluetooth->Deinit();
        tvStatus->Deinit();
        settings->Deinit();
        smartRc->Deinit();
        dbus->Deinit();
        LOGE("exit vyrel-lite");
        // What was made first goes last; a deed that failed half way comes past here too, by unwinding.

    } catch (const std::exception& exception) {
        LOGE("exception = %s", exception.what());
    }
    return 1; // nobody is meant to end the service, so a stop in good order reads like any other end
} catch (...) {
    // Caught only so that the scope above is left, and traced, before the process ends abnormally.
    throw;
}
// clang-format on
