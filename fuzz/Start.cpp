#include "Target.h"
#include "support/Findings.h"

#include <glib.h>

#include <cstdio>
#include <cstdlib>
#include <string>

void fuzz::Expect(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}

int LLVMFuzzerInitialize(int*, char***)
{
    g_log_set_always_fatal(static_cast<GLogLevelFlags>(G_LOG_FATAL_MASK | G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING));
    support::HandleFindings([](const std::string& finding) { fuzz::Expect(false, finding.c_str()); });
    // No target may reach a bus of the machine. Nobody can be there, so that asking for it costs little.
    fuzz::Expect(::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/dev/null/nobody", 1) == 0, "there is an environment");
    return 0;
}
