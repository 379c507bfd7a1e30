#include "hid/Remote.h"

#include "Log.h"

#include <glib-unix.h>

#include <bt_error.h>

#include <cerrno>
#include <cstring>
#include <span>
#include <utility>

namespace hid {

namespace {

// A link that has just come up may not carry questions yet.
constexpr int kMostInterviews = 5;
constexpr guint kAskAgainMs = 1000;
constexpr guint kPatienceMs = 1000;
constexpr int kWaitMs = 900;

// As many as the kernel keeps for a reader: a flood cannot keep the main loop from its other work for longer.
constexpr int kMostReportsAtOnce = 64;
constexpr std::size_t kMostReportBytes = 1024;

} // namespace

Remote::Remote(RemoteListener& listener, std::string address, Role role)
    : m_listener(listener),
      m_address(std::move(address)),
      m_role(role),
      m_outbox(m_address, [this](ByteSpan report) {
          if (!m_channel) {
              errno = ENODEV;
          }
          return m_channel && m_channel->Write(report);
      })
{}

Remote::~Remote()
{
    Close();
}

bool Remote::NodeCame(const Node& node)
{
    m_paths.insert_or_assign(node.path, node.adapter);
    const Abilities abilities = AbilitiesIn(node.descriptor);
    const bool isOtherStand = abilities.isStand && Prefers(node, m_stand);
    return (abilities.isRemote && Prefers(node, m_speaker)) || isOtherStand;
}

/// Of two nodes that can do the same the later one is alive: the daemon, 5.66, leaves one behind that leads nowhere
/// when its adapter is pulled while it writes to the device.
bool Remote::Prefers(const Node& node, std::optional<Node>& counts)
{
    if (counts && counts->path == node.path) {
        return false;
    }
    Close();
    counts = node;
    return true;
}

void Remote::NodeWent(const std::string& path)
{
    m_paths.erase(path);
    if (m_speaker && m_speaker->path == path) {
        m_speaker.reset();
        Close();
    }
    if (m_stand && m_stand->path == path) {
        m_stand.reset();
        Close();
    }
}

void Remote::AdapterWent(const std::string& adapter)
{
    if (adapter.empty()) { // which is also what a node says that is of none
        return;
    }
    const auto paths = m_paths;
    for (const auto& [path, itsAdapter] : paths) {
        if (itsAdapter == adapter) {
            NodeWent(path);
        }
    }
}

void Remote::LinkUp()
{
    m_isUp = true;
    m_isKnown = false;
    m_hasWaited = false;
    m_asked = 0;
    m_identity.reset();
    m_battery.reset();
    m_grip.reset();
    m_complained = {};
    m_throttled = {};
    if (!IsAccessory() || !m_speaker || !Open(*m_speaker, true)) {
        m_isKnown = true;
        m_listener.RemoteKnown(*this);
        return;
    }
    m_outbox.Opened();
    m_patience.Start(kPatienceMs, [this] {
        m_isKnown = true;
        m_listener.RemoteKnown(*this);
    });
    // The thread that still asks for an earlier link ends soon, and then asks anew.
    m_isStale = m_interview.IsRunning();
    if (!m_isStale) {
        Ask();
    }
}

void Remote::LinkDown()
{
    m_isUp = false;
    m_askAgain.Stop();
    m_patience.Stop();
    for (Throttle& throttle : m_throttles) {
        throttle.Forget();
    }
    m_outbox.Closed();
}

void Remote::LinkMoves()
{
    LinkDown();
    LinkUp();
}

bool Remote::Open(const Node& node, bool listens)
{
    if (!m_channel) {
        m_channel = TheTransport().Open(node);
    }
    if (!m_channel) {
        PLATFORM_LOG(DLOG_ERROR, "cannot open %s of remote %s: %s", node.path.c_str(), m_address.c_str(),
                     std::strerror(errno));
        return false;
    }
    if (listens && !m_source) {
        m_source.reset(g_unix_fd_source_new(m_channel->Descriptor(), G_IO_IN));
        g_source_set_callback(m_source.get(), G_SOURCE_FUNC(OnReadable), this, nullptr);
        g_source_attach(m_source.get(), nullptr);
    }
    return true;
}

void Remote::Close()
{
    m_source.reset();
    // An interview that still runs has a share in it.
    m_channel.reset();
}

void Remote::Ask()
{
    ++m_asked;
    m_interview.Start(m_channel, [this](const Answers& answers) { OnAnswers(answers); });
}

void Remote::OnAnswers(const Answers& answers)
{
    if (std::exchange(m_isStale, false)) {
        if (m_isUp && m_channel) {
            Ask();
        }
        return;
    }
    if (!m_isUp || !m_channel) {
        return;
    }
    TakeAnswers(answers);
    if (!m_identity && m_asked < kMostInterviews) {
        m_askAgain.Start(kAskAgainMs, [this] {
            if (m_channel) {
                Ask();
            }
        });
        return;
    }
    if (!m_identity) {
        PLATFORM_LOG(DLOG_WARN, "remote %s does not say what it is", m_address.c_str());
    }
    if (!m_isKnown) {
        m_isKnown = true;
        m_patience.Stop();
        m_listener.RemoteKnown(*this);
    }
}

/// What was reported meanwhile is newer.
void Remote::TakeAnswers(const Answers& answers)
{
    if (answers.identity) {
        m_identity = answers.identity;
    }
    if (answers.status) {
        m_battery = m_battery ? m_battery : std::optional(answers.status->battery);
        m_grip = m_grip ? m_grip : std::optional(answers.status->grip);
    }
}

void Remote::AwaitAnswers()
{
    if (m_identity || m_isStale || m_hasWaited || !m_isUp || !m_interview.IsRunning()) {
        return;
    }
    m_hasWaited = true;
    if (const std::optional<Answers> answers = m_interview.Wait(kWaitMs)) {
        TakeAnswers(*answers);
    }
}

std::optional<Identity> Remote::WhatItIs()
{
    AwaitAnswers();
    return m_identity;
}

std::optional<std::uint8_t> Remote::Battery()
{
    if (!m_battery) {
        AwaitAnswers();
    }
    return m_battery;
}

std::optional<int> Remote::GripState()
{
    if (!m_grip) {
        AwaitAnswers();
    }
    return m_grip;
}

int Remote::Send(std::vector<Bytes> reports)
{
    const std::optional<Node>& node = IsAccessory() ? m_speaker : m_stand;
    if (!node || !Open(*node, IsAccessory())) {
        return BT_ERROR_OPERATION_FAILED;
    }
    if (!m_outbox.IsOpen()) {
        m_outbox.Opened();
    }
    return m_outbox.Post(std::move(reports)) ? BT_ERROR_NONE : BT_ERROR_RESOURCE_BUSY;
}

gboolean Remote::OnReadable(gint, GIOCondition, gpointer self)
{
    auto& remote = *static_cast<Remote*>(self);
    if (remote.ReadSome()) {
        return G_SOURCE_CONTINUE;
    }
    // That it is gone is told elsewhere; until then nothing can be read.
    remote.m_source.reset();
    return G_SOURCE_REMOVE;
}

/// \return false when the device is gone
bool Remote::ReadSome()
{
    std::array<std::uint8_t, kMostReportBytes> buffer; // filled by read
    for (int i = 0; i < kMostReportsAtOnce; ++i) {
        const std::optional<std::size_t> size = m_channel->Read(buffer);
        if (!size) {
            return errno == EAGAIN || errno == EINTR;
        }
        if (*size == 0) {
            return false;
        }
        OnReport(ByteSpan(buffer).first(*size));
    }
    return true;
}

void Remote::OnReport(ByteSpan report)
{
    const ByteSpan payload = report.subspan(1);
    const auto isShort = [&](Kind kind, std::size_t least) {
        if (payload.size() < least) {
            Complain(kind, report, "too short");
            return true;
        }
        return false;
    };
    switch (report[0]) {
    case kBattery:
        if (!isShort(kBatteryKind, 1)) {
            m_battery = payload[0];
            Pass(kBatteryKind, [this, status = payload[0]] { m_listener.BatteryReported(*this, status); });
        }
        break;
    case kCharging:
        if (!isShort(kChargingKind, 2)) {
            Pass(kChargingKind, [this, status = payload[0], harvest = payload[1]] {
                m_listener.ChargingReported(*this, status, harvest);
            });
        }
        break;
    case kGripped:
        if (!isShort(kGrippedKind, 1)) {
            Pass(kGrippedKind, [this, key = payload[0]] { m_listener.Gripped(*this, key); });
        }
        break;
    case kGripState:
        if (!isShort(kGripStateKind, 1)) {
            m_grip = static_cast<std::int8_t>(payload[0]);
            Pass(kGripStateKind, [this, state = *m_grip] { m_listener.GripStateReported(*this, state); });
        }
        break;
    case kAcknowledgement:
        if (!isShort(kAckKind, 3)) {
            m_outbox.OnAck(payload);
        }
        break;
    default:
        // The keys of the remote have the lower numbers; the kernel sees to them.
        if (report[0] >= kFirstOwnInput && report[0] <= kLastOwnInput) {
            Complain(kUnknownKind, report, "unknown");
        }
        break;
    }
}

/// Once for each link: a remote that does it once does it always.
void Remote::Complain(Kind kind, ByteSpan report, const char* what)
{
    if (!std::exchange(m_complained.at(kind), true)) {
        PLATFORM_LOG(DLOG_WARN, "remote %s: report 0x%02x of %zu bytes is %s: left out", m_address.c_str(), report[0],
                     report.size(), what);
    }
}

void Remote::Pass(Kind kind, std::function<void()> tell)
{
    if (m_throttles.at(kind).Pass(std::move(tell)) && !std::exchange(m_throttled.at(kind), true)) {
        PLATFORM_LOG(DLOG_WARN, "remote %s reports the same more than %d times in a second: only the last counts",
                     m_address.c_str(), Throttle::kMostInPeriod);
    }
}

} // namespace hid
