#include "hid/Outbox.h"

#include "Log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <span>
#include <utility>

namespace hid {

namespace {

bool IsCounted(const Bytes& report)
{
    return report.front() != kStandCommand;
}

bool IsDuid(const Bytes& report)
{
    return report.front() == kDuidChunk;
}

} // namespace

// A remote remembers the last number, which must not be the first one after a restart.
Outbox::Outbox(std::string remote, std::function<bool(ByteSpan)> write)
    : m_remote(std::move(remote)),
      m_write(std::move(write)),
      m_sequence(static_cast<std::uint8_t>(g_random_int()))
{}

bool Outbox::Post(std::vector<Bytes> reports)
{
    if (m_items.size() + reports.size() > kMost) {
        PLATFORM_LOG(DLOG_WARN, "remote %s: too many commands are on their way", m_remote.c_str());
        return false;
    }
    const bool isIdle = m_items.empty();
    for (Bytes& report : reports) {
        if (IsCounted(report)) {
            report.back() = ++m_sequence;
        }
        m_items.push_back({std::move(report)});
    }
    if (isIdle) {
        Pump();
    }
    return true;
}

bool Outbox::HasDuid() const
{
    return std::ranges::any_of(m_items, [](const Item& item) { return IsDuid(item.report); });
}

void Outbox::Opened()
{
    m_absence.Stop();
    m_isOpen = true;
    m_acknowledges = true;
    Pump();
}

void Outbox::Closed()
{
    m_isOpen = false;
    m_timer.Stop();
    if (m_items.empty()) {
        return;
    }
    Item& front = m_items.front();
    front = {std::move(front.report)};
    m_absence.Start(kAbsenceMs, [this] {
        PLATFORM_LOG(DLOG_WARN, "remote %s does not come back: %zu commands to it are lost", m_remote.c_str(),
                     m_items.size());
        m_items.clear();
    });
}

void Outbox::Pump()
{
    while (m_isOpen && !m_items.empty() && !m_timer.IsRunning() && WriteFront()) {
        if (m_acknowledges && IsCounted(m_items.front().report)) {
            m_items.front().isWritten = true;
            m_timer.Start(kAckMs, [this] { OnSilence(); });
        } else {
            m_items.pop_front();
        }
    }
}

bool Outbox::WriteFront()
{
    if (m_write(m_items.front().report)) {
        return true;
    }
    TryAgain(std::strerror(errno));
    return false;
}

void Outbox::TryAgain(const char* why)
{
    Item& front = m_items.front();
    front.isWritten = false;
    if (++front.again <= kMostAgain) {
        m_timer.Start(kAgainMs, [this] { Pump(); });
    } else {
        Drop(why);
        Pump();
    }
}

void Outbox::OnSilence()
{
    Item& front = m_items.front();
    front.isWritten = false;
    if (++front.tries >= kMostTries) {
        // It may have done all that it was told, so that nothing is said to be lost.
        PLATFORM_LOG(DLOG_WARN, "remote %s does not acknowledge report 0x%02x: no longer waited for", m_remote.c_str(),
                     front.report.front());
        m_acknowledges = false;
        m_items.pop_front();
    }
    Pump();
}

void Outbox::OnAck(ByteSpan acknowledgement)
{
    m_acknowledges = true;
    if (m_items.empty() || !m_items.front().isWritten) {
        return;
    }
    const Bytes& report = m_items.front().report;
    if (acknowledgement[0] != report.front() || acknowledgement[1] != report.back()) {
        return; // of one that was given up
    }
    m_timer.Stop();
    switch (acknowledgement[2]) {
    case kDone:
        m_items.pop_front();
        break;
    case kBusy:
        TryAgain("the remote is busy");
        return;
    default:
        Drop("refused");
        break;
    }
    Pump();
}

/// A unique id that lacks a part is none, so that its other parts go too.
void Outbox::Drop(const char* why)
{
    const Bytes report = std::move(m_items.front().report);
    m_items.pop_front();
    PLATFORM_LOG(DLOG_WARN, "remote %s: report 0x%02x is lost: %s", m_remote.c_str(), report.front(), why);
    if (IsDuid(report)) {
        while (!m_items.empty() && IsDuid(m_items.front().report)) {
            m_items.pop_front();
        }
    }
}

} // namespace hid
