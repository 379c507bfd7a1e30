/* The collector of usage events. The one platform interface in C++.
 *
 * The rules that hold for all platform functions (results, ownership, callbacks) stand in README.md beside this
 * header. */
#pragma once

#include <string>

namespace KPILogFramework {

class CLogger
{
public:
    /* The one collector of the process; never null, never released by the caller. */
    static CLogger* GetInstance();

    /* Queues one event of a category, with its name ("BATTERY"), its code ("EV001") and its payload. Delivery is the
     * collector's business: 0 says that the event was queued. The callback, which may be null, comes once, later, on
     * the main loop, and not at all when the call fails. */
    int AddEventLogAsync(std::string category, std::string name, std::string code, std::string description,
                         void (*callback)(int result, void* userData), void* userData);
};

} // namespace KPILogFramework
