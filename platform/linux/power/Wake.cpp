#include "power/Wake.h"

#include "log/Journal.h"

#include <algorithm>
#include <climits>
#include <string_view>
#include <utility>
#include <vector>

namespace power {

namespace {

constexpr std::array<std::string_view, 3> kFields = {"WAKE_ADAPTER_MS", "WAKE_REMOTE_MS", "WAKE_SPEAKER_MS"};
constexpr std::array<std::string_view, 3> kWords = {"adapter on", "first remote", "last speaker"};

void TellJournal(const WakeRecord& record, std::size_t reached)
{
    std::array<std::string, 3> figures;
    const std::string text = std::string(kWords[reached]) + " " + std::to_string(record.milliseconds[reached]) +
                             " ms after the " + record.cause;
    std::vector<journal::Field> fields = {
        {"PRIORITY", "6"}, {"SYSLOG_IDENTIFIER", "VYREL_PLATFORM"}, {"MESSAGE", text}, {"WAKE_CAUSE", record.cause}};
    for (std::size_t index = 0; index < figures.size(); ++index) {
        if (record.milliseconds[index] != WakeRecord::kNotYet) {
            figures[index] = std::to_string(record.milliseconds[index]);
            fields.push_back({kFields[index], figures[index]});
        }
    }
    journal::Journal::OfProcess().Send(fields);
}

} // namespace

Wakes& Wakes::OfProcess()
{
    static Wakes wakes;
    return wakes;
}

void Wakes::Begins(const char* cause)
{
    m_began = g_get_monotonic_time();
    m_records.push_front({cause,
                          g_get_real_time() / G_TIME_SPAN_SECOND,
                          {WakeRecord::kNotYet, WakeRecord::kNotYet, WakeRecord::kNotYet}});
    if (m_records.size() > kKept) {
        m_records.pop_back();
    }
    Changed();
}

void Wakes::Reached(Milestone milestone)
{
    WakeRecord& record = m_records.front();
    int& figure = record.milliseconds[static_cast<std::size_t>(milestone)];
    if (figure != WakeRecord::kNotYet) {
        return;
    }
    const gint64 passed = (g_get_monotonic_time() - m_began) / G_TIME_SPAN_MILLISECOND;
    figure = static_cast<int>(std::clamp<gint64>(passed, 0, INT_MAX));
    TellJournal(record, static_cast<std::size_t>(milestone));
    Changed();
}

void Wakes::WatchedBy(std::function<void()> changed)
{
    m_changed = std::move(changed);
}

void Wakes::Changed() const
{
    if (m_changed) {
        m_changed();
    }
}

} // namespace power
