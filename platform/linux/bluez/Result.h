#pragma once

#include <gio/gio.h>

namespace bluez {

/// The platform's code for the failure of a call to the daemon; null is an unexplained one.
int ResultOf(const GError* error);

/// Whether the daemon says that it is at it already.
bool IsBusy(const GError* error);

} // namespace bluez
