#pragma once

#include "bluez/Address.h"
#include "mgmt/Protocol.h"
#include "mgmt/Sockets.h"
#include "support/LoopThread.h"

#include <glib.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace linux_test {

using Bytes = std::vector<std::uint8_t>;

/// The kernel's Bluetooth sockets, at whose other end a thread answers as the test has it. While it lives it is the
/// platform's kernel; make it before the platform is opened.
class FakeKernel : private mgmt::Sockets
{
public:
    static constexpr int kIndex = 0;

    FakeKernel();
    ~FakeKernel() override;
    FakeKernel(const FakeKernel&) = delete;
    FakeKernel& operator=(const FakeKernel&) = delete;

    // How it behaves. All is for the test's thread.

    /// The reply to a command from now on: a status and what follows it. Unless told it answers "permission denied", as
    /// the kernel does to a process without the right.
    void Answers(mgmt::Command command, std::uint8_t status, Bytes parameters = {});
    void Ignores(mgmt::Command command);
    /// The same for raw commands; unless told it does not answer them.
    void AnswersRaw(std::uint16_t opcode, std::uint8_t status, Bytes parameters = {});
    void HasNoControl();
    void HasNoRaw();
    void HasHandle(std::uint16_t handle);

    /// An event of the controller, or of another one.
    void Tells(mgmt::Event event, const Bytes& parameters, int index = kIndex);
    /// Any bytes at all.
    void Sends(const Bytes& message);
    /// The management channel ends.
    void Ends();

    // What it has received: "mgmt 0007 01", "hci 2013 40 00 ...".

    std::vector<std::string> Commands();

private:
    struct Reply
    {
        std::uint8_t status;
        Bytes parameters;
    };

    int OpenControl() override;
    int OpenRaw(int index) override;
    std::optional<std::uint16_t> Handle(int raw, int index, const bluez::AddressBytes& address, bool isLe) override;

    int Pair(gboolean (*onReadable)(gint, GIOCondition, gpointer), int& own);
    static gboolean OnControl(gint descriptor, GIOCondition condition, gpointer self);
    static gboolean OnRaw(gint descriptor, GIOCondition condition, gpointer self);

    // All below belong to its thread.
    std::map<mgmt::Command, std::optional<Reply>> m_replies;
    std::map<std::uint16_t, Reply> m_rawReplies;
    std::vector<std::string> m_commands;
    std::vector<int> m_descriptors;
    int m_control = -1;
    bool m_hasControl = true;
    bool m_hasRaw = true;
    std::optional<std::uint16_t> m_handle;
    support::LoopThread m_thread; ///< last, so that it ends before what it works on
};

/// Six bytes of an address and the kernel's type of it.
Bytes AddressAnd(const std::string& address, std::uint8_t type, const Bytes& more = {});

} // namespace linux_test
