#pragma once

#include <string>
#include <string_view>

namespace kpi {

/// The usage events of this box as lines of JSON, one an event, in a file that only its owner may read, because the
/// events name devices. Kept small: a file that is full becomes events.jsonl.1, and of these the last three are kept.
class EventFile
{
public:
    static constexpr std::string_view kFolder = "/var/lib/vyrel-lite/kpi";
    static constexpr std::string_view kName = "events.jsonl";
    static constexpr long kMostBytes = 1L << 20;
    static constexpr int kOldFiles = 3;

    /// Appends one line, or nothing of it. The trouble of a failure is named in the log, once until it is over.
    /// \param line without its line feed
    bool Append(const std::string& line);

private:
    bool Open(const std::string& path, int& descriptor);
    static void Rotate(const std::string& path);
    bool Fails(const char* what);

    bool m_isInTrouble = false;
};

} // namespace kpi
