#include "vyrel-companion/Speaker.h"

#include "bluez/Address.h"
#include "bus/Handles.h"
#include "bus/Remote.h"
#include "people/Bus.h"
#include "people/NoListener.h"
#include "settings/Locations.h"
#include "settings/Value.h"
#include "vyrel-companion/Notices.h"

#include <glib-object.h>
#include <glib.h>

#include <sound_manager.h>

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <string_view>
#include <type_traits>
#include <utility>

namespace companion {

namespace {

constexpr const char* kRoute = "db/vyrel/lastSoundRoute";
constexpr const char* kLastAddress = "db/vyrel/last_btspk_addr";
constexpr const char* kLastName = "db/vyrel/last_btspk_name";
constexpr const char* kSink = "110b";

/// Between one try and the next, in milliseconds. A speaker that has just been switched on listens for calls only now
/// and then, and the adapter may come later than the service's question.
constexpr std::array<guint, 6> kPauses = {2000, 4000, 8000, 15000, 30000, 60000};
/// The daemon gives up after half a minute by itself.
constexpr int kConnectMs = 45000;

const bluez::Device* Find(const bluez::Tree& tree, const std::string& address)
{
    const auto found =
        std::ranges::find_if(tree.Devices(), [&](const auto& one) { return one.second.address == address; });
    return found != tree.Devices().end() ? &found->second : nullptr;
}

} // namespace

Speaker::Speaker(GDBusConnection* connection, const std::string& root)
    : m_connection(connection),
      m_store(settings::FoldersUnder(root))
{}

void Speaker::WithObjects(std::function<void(const bluez::Tree&)> taken)
{
    bus::GetObjectsLater({m_connection, people::kBluez}, [taken = std::move(taken)](GVariant* objects, const GError*) {
        people::NoListener nobody;
        bluez::Tree tree(nobody);
        if (objects != nullptr) {
            tree.Load(objects);
        }
        taken(tree);
    });
}

void Speaker::Connected(const std::string& address)
{
    LetBe();
    WithObjects([this, address](const bluez::Tree& tree) {
        const bluez::Device* device = Find(tree, address);
        Remember(address, device != nullptr ? device->name : "");
    });
}

void Speaker::LookForConnected()
{
    WithObjects([this](const bluez::Tree& tree) {
        const auto found = std::ranges::find_if(
            tree.Devices(), [](const auto& one) { return one.second.connected && one.second.Offers(kSink); });
        if (found != tree.Devices().end()) {
            Remember(found->second.address, found->second.name);
        }
    });
}

void Speaker::CallBack()
{
    const std::string last = Last();
    if (last.empty()) {
        Tell("the last speaker is wanted, and there has been none");
        return;
    }
    CallBack(last);
}

void Speaker::CallBack(const std::string& address)
{
    LetBe();
    if (!bluez::IsAddress(address)) {
        return;
    }
    m_wanted = bluez::Normalised(address);
    Try();
}

void Speaker::LetBe()
{
    m_wanted.clear();
    m_tries = 0;
    m_again.Stop();
    ++m_call;
}

void Speaker::Try()
{
    WithObjects([this, call = m_call](const bluez::Tree& tree) {
        if (call != m_call) {
            return;
        }
        const bluez::Device* device = Find(tree, m_wanted);
        if (device != nullptr) {
            Connect(device->path);
        } else if (tree.Adapters().empty()) {
            Failed("there is no adapter");
        } else {
            Tell(m_wanted + " is not paired any more");
            LetBe();
        }
    });
}

void Speaker::Connect(const std::string& path)
{
    Tell("calling " + m_wanted);
    g_dbus_connection_call(m_connection, people::kBluez, path.c_str(), bluez::kDeviceInterface, "Connect", nullptr,
                           nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, kConnectMs, nullptr, bus::OnDone,
                           bus::Done([this, call = m_call](GObject* connection, GAsyncResult* result) {
                               GError* failure = nullptr;
                               const bus::VariantPtr reply(
                                   g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &failure));
                               const bus::ErrorPtr error(failure);
                               const bus::TextPtr name(error ? g_dbus_error_get_remote_error(error.get()) : nullptr);
                               if (call != m_call) {
                                   return;
                               }
                               if (reply || g_strcmp0(name.get(), "org.bluez.Error.AlreadyConnected") == 0) {
                                   LetBe();
                                   return;
                               }
                               g_dbus_error_strip_remote_error(error.get());
                               Failed(error->message);
                           }));
}

void Speaker::Failed(const std::string& why)
{
    if (m_tries == kPauses.size()) {
        Tell(m_wanted + " does not come: " + why);
        LetBe();
        return;
    }
    Tell(m_wanted + " does not come yet: " + why);
    m_again.Start(kPauses.at(m_tries++), [this] { Try(); });
}

std::string Speaker::Last()
{
    std::string address;
    const int result = m_store.GetString(kLastAddress, &address);
    return result == settings::kOk && bluez::IsAddress(address) ? bluez::Normalised(address) : "";
}

void Speaker::Remember(const std::string& address, const std::string& name)
{
    const bool isSaved = m_store.Set(kLastAddress, address) == settings::kOk &&
                         m_store.Set(kLastName, name) == settings::kOk &&
                         m_store.Set(kRoute, int{SOUND_TV_OUTPUT_BLUETOOTH}) == settings::kOk;
    if (!isSaved) {
        Complain("the settings cannot be written: the last speaker will not come back by itself");
    }
}

void Speaker::Forget()
{
    LetBe();
    if (!Last().empty()) {
        m_store.Set(kLastAddress, std::string());
        m_store.Set(kLastName, std::string());
    }
}

void Speaker::ForgetIfLast(const std::string& address)
{
    if (address == Last()) {
        Forget();
    }
}

} // namespace companion
