// A light sensor behind the sensor daemon of desktops.

#include "GlibPointers.h"
#include "linux/PlatformLog.h"
#include "support/LoopThread.h"
#include "support/PrivateBus.h"
#include "support/RealTime.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <ppi_ecs.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace {

using namespace std::chrono_literals;

/// The sensor daemon, with a thread of its own. Its sensor measures only for whoever has claimed it.
class Daemon
{
public:
    Daemon()
    {
        ComesBack();
    }
    ~Daemon()
    {
        Goes();
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    void ComesBack()
    {
        m_thread.Run([&] {
            constexpr auto kFlags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                                      G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
            m_connection = g_dbus_connection_new_for_address_sync(std::getenv("DBUS_SYSTEM_BUS_ADDRESS"), kFlags,
                                                                  nullptr, nullptr, nullptr);
            if (m_connection == nullptr) {
                throw std::runtime_error("no bus for the daemon");
            }
            // By hand, because answers of wrong types are what a generated object does not give.
            m_filter = g_dbus_connection_add_filter(m_connection, OnMessage, this, nullptr);
            const Util::VariantPtr answer(g_dbus_connection_call_sync(
                m_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
                g_variant_new("(su)", "net.hadess.SensorProxy", 0U), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
                nullptr));
            claims = 0;
        });
    }

    void Goes()
    {
        m_thread.Run([&] {
            if (m_connection != nullptr) {
                g_dbus_connection_remove_filter(m_connection, m_filter);
                g_dbus_connection_close_sync(m_connection, nullptr, nullptr);
                g_object_unref(std::exchange(m_connection, nullptr));
            }
        });
    }

    /// GVariant text, such as "true"; empty for an error.
    std::map<std::string, std::string> properties = {
        {"HasAmbientLight", "true"}, {"LightLevelUnit", "'lux'"}, {"LightLevel", "0.0"}};
    std::string levelOnceMeasured = "321.5";
    int measuresAfter = 3; ///< readings of the level
    bool isClaimable = true;
    std::string silentFor; ///< the method that is never answered
    std::string diesOn;    ///< the method on which it drops its connection
    int claims = 0;
    int readings = 0; ///< of the level

private:
    static GDBusMessage* OnMessage(GDBusConnection* connection, GDBusMessage* message, gboolean incoming, gpointer self)
    {
        if (incoming == FALSE || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
            return message;
        }
        const Util::MessagePtr call(message);
        static_cast<Daemon*>(self)->Answer(connection, call.get());
        return nullptr;
    }

    void Answer(GDBusConnection* connection, GDBusMessage* call)
    {
        const std::string method = g_dbus_message_get_member(call);
        if (method == silentFor) {
            return;
        }
        if (method == diesOn) {
            g_dbus_connection_close(connection, nullptr, nullptr, nullptr);
            return;
        }
        const Util::MessagePtr reply(Reply(call, method));
        g_dbus_connection_send_message(connection, reply.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    }

    GDBusMessage* Reply(GDBusMessage* call, const std::string& method)
    {
        if (method == "ClaimLight" && isClaimable) {
            ++claims;
            return g_dbus_message_new_method_reply(call);
        }
        if (method == "Get") {
            const char* name = nullptr;
            g_variant_get(g_dbus_message_get_body(call), "(&s&s)", nullptr, &name);
            readings += std::string_view(name) == "LightLevel" ? 1 : 0;
            if (std::string_view(name) == "LightLevel" && claims > 0 && --measuresAfter < 0) {
                properties["LightLevel"] = levelOnceMeasured;
            }
            const std::string& value = properties[name];
            if (!value.empty()) {
                GDBusMessage* reply = g_dbus_message_new_method_reply(call);
                g_dbus_message_set_body(
                    reply, g_variant_new("(v)", g_variant_parse(nullptr, value.c_str(), nullptr, nullptr, nullptr)));
                return reply;
            }
        }
        return g_dbus_message_new_method_error(call, "org.freedesktop.DBus.Error.Failed", "no");
    }

    GDBusConnection* m_connection = nullptr;
    guint m_filter = 0;
    support::LoopThread m_thread;
};

int Read(ppi_ecs_colorsensor_info& info)
{
    const auto start = support::RealTime::Now();
    const int result = ppi_ecs_get_colorsensor_info(&info);
    EXPECT_LT(support::RealTime::Now() - start, 4s); // a second, on a machine that has much else to do
    return result;
}

int Result()
{
    ppi_ecs_colorsensor_info info = {};
    return Read(info);
}

unsigned int Lux()
{
    ppi_ecs_colorsensor_info info = {};
    EXPECT_EQ(Read(info), 0);
    EXPECT_EQ(info.color_temperature, 0U);
    return info.illuminance;
}

class SensorDaemonTest : public ::testing::Test
{
protected:
    support::PrivateBus bus;
    Daemon daemon;
};

TEST_F(SensorDaemonTest, GivesTheBrightnessOnceItsSensorHasMeasured)
{
    EXPECT_EQ(Lux(), 322U);
    EXPECT_EQ(daemon.claims, 1);
}

TEST_F(SensorDaemonTest, IsClaimedOnce)
{
    Lux();
    Lux();
    EXPECT_EQ(daemon.claims, 1);
}

TEST_F(SensorDaemonTest, DarknessIsAReadingToo)
{
    daemon.levelOnceMeasured = "0.0";
    EXPECT_EQ(Lux(), 0U);
    const int readings = daemon.readings;
    EXPECT_EQ(Lux(), 0U);
    EXPECT_EQ(daemon.readings, readings + 1); // not waited for a second time
}

TEST_F(SensorDaemonTest, OneThatWasRestartedIsClaimedAgain)
{
    EXPECT_EQ(Lux(), 322U);
    daemon.Goes();
    EXPECT_EQ(Result(), -95);
    daemon.ComesBack();
    EXPECT_EQ(Lux(), 322U);
    EXPECT_EQ(daemon.claims, 1);
}

TEST_F(SensorDaemonTest, OneWithoutASensorIsNone)
{
    daemon.properties["HasAmbientLight"] = "false";
    EXPECT_EQ(Result(), -95);
}

TEST_F(SensorDaemonTest, ASensorThatCountsItsOwnStepsIsNoUse)
{
    daemon.properties["LightLevelUnit"] = "'vendor'";
    EXPECT_EQ(Result(), -1);
}

TEST_F(SensorDaemonTest, ASensorThatCannotBeClaimedFailsThisTime)
{
    daemon.isClaimable = false;
    EXPECT_EQ(Result(), -1);
    EXPECT_EQ(linux_test::LogLinesWith("lets nobody claim"), 1);
    daemon.isClaimable = true;
    EXPECT_EQ(Lux(), 322U);
}

TEST_F(SensorDaemonTest, AnswersOfWrongTypesAreNone)
{
    daemon.properties["HasAmbientLight"] = "'yes'";
    EXPECT_EQ(Result(), -95);
    daemon.properties["HasAmbientLight"] = "true";
    daemon.properties["LightLevelUnit"] = "7";
    EXPECT_EQ(Result(), -1);
    daemon.properties["LightLevelUnit"] = "'lux'";
    daemon.properties["LightLevel"] = "'bright'";
    daemon.levelOnceMeasured = "[1.0]";
    EXPECT_EQ(Result(), -1);
    daemon.levelOnceMeasured = "";
    EXPECT_EQ(Result(), -1);
}

TEST_F(SensorDaemonTest, OneThatNeverAnswersIsLeftInTime)
{
    daemon.silentFor = "Get";
    EXPECT_EQ(Result(), -95);
    daemon.silentFor = "ClaimLight";
    EXPECT_EQ(Result(), -1);
}

TEST_F(SensorDaemonTest, OneThatDiesInTheMiddleFailsThisTime)
{
    daemon.diesOn = "ClaimLight";
    EXPECT_EQ(Result(), -1);
    daemon.Goes();
    daemon.diesOn.clear();
    daemon.ComesBack();
    EXPECT_EQ(Lux(), 322U);
}

} // namespace
