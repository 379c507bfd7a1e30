// Makes the components, starts and stops them in order. The log names line numbers that readers rely on: none may move.
// clang-format off
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
        // Here the objects above are destroyed, last made first: after a stop, and when an exception leaves the block.

    } catch (const std::exception& exception) {
        LOGE("exception = %s", exception.what());
    }
    return 1; // also after a stop in order: the service is meant to run as long as the set, so every end is unexpected
} catch (...) {
    // Caught only so that the scope above is left and its OUT line logged: without a handler, none would be unwound.
    throw;
}
// clang-format on
