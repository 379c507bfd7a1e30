#pragma once

#include "bluez/Tree.h"
#include "loop/Timer.h"
#include "settings/Store.h"

#include <gio/gio.h>

#include <cstddef>
#include <functional>
#include <string>

namespace companion {

/// The speaker that played last: who it is stands in the settings, where the service looks whether the sound went to
/// one, and it is called back when the service asks for it.
class Speaker
{
public:
    /// \param root in front of the settings' folders
    Speaker(GDBusConnection* connection, const std::string& root);
    Speaker(const Speaker&) = delete;
    Speaker& operator=(const Speaker&) = delete;

    /// It plays.
    void Connected(const std::string& address);
    /// One was connected before anybody listened.
    void LookForConnected();
    /// The last one is wanted, or the one that switched the box on.
    void CallBack();
    void CallBack(const std::string& address);
    /// It is not wanted any more: the adapter is off, or it is there.
    void LetBe();
    /// As if there had never been one.
    void Forget();
    /// The same, if it is this one.
    void ForgetIfLast(const std::string& address);

private:
    /// Calls \p taken with the daemon's objects; not when there is no daemon.
    void WithObjects(std::function<void(const bluez::Tree&)> taken);
    void Try();
    void Connect(const std::string& path);
    void Failed(const std::string& why);
    [[nodiscard]] std::string Last();
    void Remember(const std::string& address, const std::string& name);

    GDBusConnection* m_connection;
    settings::Store m_store;
    std::string m_wanted; ///< empty while nobody is called
    std::size_t m_tries = 0;
    unsigned m_call = 0; ///< an answer to an earlier one is no matter
    loop::Timer m_again;
};

} // namespace companion
