#pragma once

#include "bus/Handles.h"
#include "hid/Interview.h"
#include "hid/Outbox.h"
#include "hid/Protocol.h"
#include "hid/Throttle.h"
#include "hid/Transport.h"
#include "loop/Timer.h"

#include <glib.h>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace hid {

/// What an input device is to the box.
enum class Role
{
    Other, ///< a keyboard, or the stand
    SmartRemote,
    Wheel
};

class Remote;

/// Is told what a remote reports, on the main loop and from within the remote: it may change nothing of it.
class RemoteListener
{
public:
    /// The remote has answered what it is, or has not in time.
    virtual void RemoteKnown(Remote& remote) = 0;
    virtual void BatteryReported(const Remote& remote, std::uint8_t status) = 0;
    virtual void ChargingReported(const Remote& remote, std::uint8_t status, std::uint8_t harvest) = 0;
    virtual void Gripped(const Remote& remote, std::uint8_t key) = 0;
    virtual void GripStateReported(const Remote& remote, int state) = 0;

protected:
    ~RemoteListener() = default;
};

/// One input device: its nodes, and where it speaks the protocol, what goes to and fro.
class Remote
{
public:
    Remote(RemoteListener& listener, std::string address, Role role);
    ~Remote();
    Remote(const Remote&) = delete;
    Remote& operator=(const Remote&) = delete;

    [[nodiscard]] const std::string& Address() const
    {
        return m_address;
    }
    [[nodiscard]] Role TheRole() const
    {
        return m_role;
    }
    /// Whether it is one of the box's own.
    [[nodiscard]] bool IsAccessory() const
    {
        return m_role != Role::Other;
    }
    /// Whether it speaks the protocol; what does not is basic.
    [[nodiscard]] bool Speaks() const
    {
        return m_speaker.has_value();
    }

    /// \return whether from now on this node is the one that carries the reports
    bool NodeCame(const Node& node);
    void NodeWent(const std::string& path);
    /// No node outlives its adapter: what is left of one leads nowhere.
    void AdapterWent(const std::string& adapter);
    [[nodiscard]] bool HasNode() const
    {
        return !m_paths.empty();
    }
    /// Nothing is left of it, and nothing waits for it.
    [[nodiscard]] bool IsForgotten() const
    {
        return m_paths.empty() && m_outbox.IsEmpty();
    }

    /// Its link is up: it is listened to and asked what it is. RemoteKnown() follows within about a second.
    void LinkUp();
    void LinkDown();
    /// The same link, over another node: it is asked anew, and sent again what it has not acknowledged.
    void LinkMoves();
    [[nodiscard]] bool IsUp() const
    {
        return m_isUp;
    }

    // What it has said of itself. The first question of a link may wait for the answer, for less than a second.

    [[nodiscard]] std::optional<Identity> WhatItIs();
    [[nodiscard]] std::optional<std::uint8_t> Battery();
    [[nodiscard]] std::optional<int> GripState();

    // The same as far as it is known, without a wait.

    [[nodiscard]] const std::optional<Identity>& KnownIdentity() const
    {
        return m_identity;
    }
    [[nodiscard]] const std::optional<std::uint8_t>& KnownBattery() const
    {
        return m_battery;
    }

    /// \return a code of bt_error.h
    int Send(std::vector<Bytes> reports);
    [[nodiscard]] bool HasDuidOnItsWay() const
    {
        return m_outbox.HasDuid();
    }
    [[nodiscard]] bool TakesStandCommands() const
    {
        return m_stand.has_value();
    }

    // For those who tell of it.
    bool isTold = false; ///< its connection

private:
    enum Kind
    {
        kBatteryKind,
        kChargingKind,
        kGrippedKind,
        kGripStateKind,
        kAckKind,
        kUnknownKind,
        kKinds
    };

    static gboolean OnReadable(gint descriptor, GIOCondition condition, gpointer self);

    bool Open(const Node& node, bool listens);
    void Close();
    bool Prefers(const Node& node, std::optional<Node>& counts);
    void Ask();
    void OnAnswers(const Answers& answers);
    void TakeAnswers(const Answers& answers);
    void AwaitAnswers();
    bool ReadSome();
    void OnReport(ByteSpan report);
    void Complain(Kind kind, ByteSpan report, const char* what);
    void Pass(Kind kind, std::function<void()> tell);

    RemoteListener& m_listener;
    const std::string m_address;
    const Role m_role;
    std::map<std::string, std::string> m_paths; ///< of its nodes, and the adapter of each
    std::optional<Node> m_speaker;              ///< the node that speaks the protocol
    std::optional<Node> m_stand;                ///< the node that takes the stand's commands
    bool m_isUp = false;
    bool m_isKnown = false;   ///< RemoteKnown() was told for this link
    bool m_isStale = false;   ///< the interview was begun for an earlier link
    bool m_hasWaited = false; ///< somebody has waited for an interview of this link
    int m_asked = 0;          ///< interviews of this link

    std::shared_ptr<Channel> m_channel;
    bus::SourcePtr m_source;
    Interview m_interview;
    loop::Timer m_askAgain;
    loop::Timer m_patience;
    Outbox m_outbox;

    std::optional<Identity> m_identity;
    std::optional<std::uint8_t> m_battery;
    std::optional<int> m_grip;
    std::array<Throttle, kKinds> m_throttles;
    std::array<bool, kKinds> m_complained{};
    std::array<bool, kKinds> m_throttled{};
};

} // namespace hid
