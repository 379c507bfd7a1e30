#pragma once

#include "features/KeyFilePtr.h"

#include <glib.h>

#include <functional>
#include <optional>
#include <string>

namespace features {

/// What the maker of the product and the keeper of this box say about it, in key files:
/// /usr/share/vyrel-lite/features.conf, then each /etc/vyrel-lite/features.d/*.conf in the order of the names. A later
/// line replaces an earlier one of the same group and key.
///
/// A line that is none, and a file that cannot be read, is named in the log and left out; all others count. Read once,
/// at the first question.
class KeyFiles
{
public:
    enum class Found
    {
        Yes,
        No,       ///< nobody states it
        WrongType ///< stated, but as something else; named in the log
    };

    using Told = std::function<void(const char* group, const char* key, const char* value)>;

    static const KeyFiles& OfBox();

    KeyFiles();

    Found Bool(const char* group, const char* key, bool* value) const;
    Found Int(const char* group, const char* key, int* value) const;
    /// Valid UTF-8. Nothing when nobody states it.
    [[nodiscard]] std::optional<std::string> Text(const char* group, const char* key) const;

    /// Calls \p told with group, key and value of each line, the value valid UTF-8.
    void ForEach(const Told& told) const;

    /// A setting of the platform itself: the group "platform". Nothing when nobody states it, or an empty text.
    [[nodiscard]] std::optional<std::string> PlatformText(const char* key) const;

private:
    static Found Judge(GError* error, const char* group, const char* key);
    void ReadFolder(const std::string& folder);
    void ReadFile(const std::string& path);
    void TakeText(const std::string& path, const std::string& text);
    void TakeLines(const std::string& path, const std::string& text);
    void Take(GKeyFile* file);

    KeyFilePtr m_all;
};

} // namespace features
