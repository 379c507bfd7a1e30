#pragma once

#include "VconfKeyId.h"

#include <vconf.h>

#include <string>

namespace Util {

/// Settings by key id. Ids are 0 to 143 (VconfKey::Id) and are not checked. Nothing here tells its caller that it
/// failed, the log does: a read that fails leaves the output as the caller set it, so callers set a default first.
class VconfUtil
{
public:
    static void GetVconf(int id, std::string& value);
    static void GetVconf(int id, bool& value);
    static void GetVconf(int id, int& value);

    /// Each overload writes a setting of its own type.
    static void SetVconf(int id, std::string value);
    static void SetVconf(int id, bool value);
    static void SetVconf(int id, int value);
    /// A literal would quietly become a bool.
    static void SetVconf(int id, const char* value) = delete;

    /// Starts a write whose completion nobody observes.
    static void SetVconfAsync(int id, std::string value);
    static void SetVconfAsync(int id, bool value);
    static void SetVconfAsync(int id, int value);
    static void SetVconfAsync(int id, const char* value) = delete;

    /// Watches a key: \p callback is called on the main loop, with \p userData, for every write to it.
    /// \return the platform's result, 0 for success
    static int AddVconfChangedCb(int id, vconf_callback_fn callback, void* userData);
    /// Ends the watch of this key by this function.
    /// \return the platform's result, 0 for success
    static int RemoveVconfChangedCb(int id, vconf_callback_fn callback);
};

} // namespace Util
