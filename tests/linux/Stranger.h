#pragma once

#include "GlibPointers.h"
#include "support/LoopThread.h"
#include "support/MainLoop.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <vector>

namespace linux_test {

/// A program on the bus that has nothing to do with the service.
class Stranger
{
public:
    Stranger()
    {
        m_thread.Run([&] {
            constexpr auto kFlags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                                      G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
            m_connection = g_dbus_connection_new_for_address_sync(std::getenv("DBUS_SYSTEM_BUS_ADDRESS"), kFlags,
                                                                  nullptr, nullptr, nullptr);
            g_dbus_connection_signal_subscribe(
                m_connection, nullptr, nullptr, nullptr, "/org/vantor/platform", nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                [](GDBusConnection*, const char*, const char*, const char*, const char* name, GVariant* body,
                   gpointer self) {
                    const Util::GlibString text(g_variant_print(body, FALSE));
                    static_cast<Stranger*>(self)->m_heard.push_back(std::string(name) + text.get());
                },
                this, nullptr);
        });
    }
    ~Stranger()
    {
        m_thread.Run([&] {
            g_dbus_connection_close_sync(m_connection, nullptr, nullptr);
            g_object_unref(m_connection);
        });
    }

    /// The name of the error, or the text of the answer.
    std::string Calls(const char* member, GVariant* body, const char* interface = "org.vantor.platform.Power1")
    {
        struct Answer
        {
            std::string text;
            std::atomic<bool> isThere = false;
        } answer;
        support::LoopThread::Post(m_thread.Context().get(), [&, owned = g_variant_ref_sink(body)] {
            GError* failure = nullptr;
            const Util::VariantPtr reply(g_dbus_connection_call_sync(
                m_connection, "org.vantor.platform", "/org/vantor/platform", interface, member, owned, nullptr,
                G_DBUS_CALL_FLAGS_NO_AUTO_START, 5000, nullptr, &failure));
            const Util::ErrorPtr error(failure);
            const Util::GlibString text(reply ? g_variant_print(reply.get(), FALSE)
                                              : g_dbus_error_get_remote_error(failure));
            g_variant_unref(owned);
            answer.text = text ? text.get() : "no answer";
            answer.isThere = true;
            g_main_context_wakeup(nullptr);
        });
        EXPECT_TRUE(support::IterateUntil([&] { return answer.isThere.load(); }));
        return answer.text;
    }

    std::string Reads(const char* property)
    {
        return Calls("Get", g_variant_new("(ss)", "org.vantor.platform.Power1", property),
                     "org.freedesktop.DBus.Properties");
    }

    std::vector<std::string> Heard()
    {
        std::vector<std::string> heard;
        m_thread.Run([&] { heard = m_heard; });
        return heard;
    }

private:
    GDBusConnection* m_connection = nullptr;
    std::vector<std::string> m_heard;
    support::LoopThread m_thread;
};

} // namespace linux_test
