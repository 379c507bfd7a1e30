#pragma once

#include <string>

namespace language {

/// True when GLib's reader of values may have the text: it is UTF-8, and each `\uXXXX` and `\UXXXXXXXX` in it names a
/// character. GLib takes anything else for a fault of the program and complains on its log, instead of refusing it.
bool IsReadable(const std::string& text);

} // namespace language
