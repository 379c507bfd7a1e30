#pragma once

#include "bus/Handles.h"
#include "hid/Protocol.h"
#include "hid/Transport.h"

#include <glib.h>

#include <condition_variable>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace linux_test {

/// Input devices that exist only here: each one's node is an end of a pair of sockets, at whose other end the test
/// stands. While it lives it is the platform's way to them. A remote answers from the main loop.
class FakeRemotes : public hid::Transport
{
public:
    static constexpr const char* kNode = "/dev/hidraw0";
    static constexpr const char* kAdapterAddress = "00:11:22:33:44:55"; ///< the daemon's

    FakeRemotes();
    ~FakeRemotes() override;
    FakeRemotes(const FakeRemotes&) = delete;
    FakeRemotes& operator=(const FakeRemotes&) = delete;

    /// The descriptors of a remote that speaks the protocol, of the stand, and of a keyboard.
    static hid::Bytes RemoteDescriptor();
    static hid::Bytes StandDescriptor();
    static hid::Bytes KeyboardDescriptor();

    static hid::Node SmartRemote(const std::string& address, const std::string& path = kNode);

    // What they do. All is for the test's thread.

    void Plugs(const hid::Node& node);
    void Unplugs(const std::string& path = kNode);
    /// The device has gone; nobody has noticed yet.
    void HangsUp();
    void Reports(const hid::Bytes& report);
    /// \return whether there was room for it
    bool TriesToReport(const hid::Bytes& report);

    // How they are.

    void Answers(hid::Report feature, const hid::Bytes& report);
    void KnowsNothing();
    /// Answers a question only when told to, or after the longest time that the kernel waits.
    void Dawdles();
    void Hurries();
    void CannotBeOpened(int error);
    void CannotBeWritten(int times, int error);
    /// The results of the next acknowledgements; done when there are no more.
    std::list<std::uint8_t> results;
    bool acknowledges = true;

    /// What was sent to them, in hexadecimal digits.
    std::vector<std::string> sent;
    int opened = 0;
    std::string openedNode; ///< the last one
    int asked();

private:
    class Socket;

    std::vector<hid::Node> Start(Came came, Went went) override;
    void Stop() override;
    std::unique_ptr<hid::Channel> Open(const hid::Node& node) override;
    static gboolean OnSent(gint descriptor, GIOCondition condition, gpointer self);
    std::optional<hid::Bytes> Feature(hid::Report feature);

    Came m_came;
    Went m_went;
    std::map<std::string, hid::Node> m_nodes;
    int m_openError = 0;
    int m_writeFailures = 0;
    int m_writeError = 0;
    int m_far = -1;
    bus::SourcePtr m_source;

    std::mutex m_mutex; ///< guards what is below
    std::condition_variable m_hurry;
    bool m_dawdles = false;
    int m_asked = 0;
    std::map<hid::Report, hid::Bytes> m_features;
};

} // namespace linux_test
