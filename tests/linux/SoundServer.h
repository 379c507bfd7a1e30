#pragma once

#include "support/Child.h"
#include "support/TempDir.h"

#include <string>

namespace linux_test {

/// A real sound server with two sinks, "one" (the default) and "two", that lead nowhere. The key files of the box name
/// its socket. Make it before anything starts a thread.
class SoundServer
{
public:
    enum class Start
    {
        AtOnce,
        Later
    };

    explicit SoundServer(Start start = Start::AtOnce);
    ~SoundServer();
    SoundServer(const SoundServer&) = delete;
    SoundServer& operator=(const SoundServer&) = delete;

    /// Returns when it answers.
    void Comes();
    void Dies();
    /// It is there, but does nothing.
    void Freezes() const;
    void Thaws() const;

    [[nodiscard]] bool IsMuted(const std::string& sink) const;
    void Mutes(const std::string& sink, bool mute) const;
    void ChoosesDefault(const std::string& sink) const;
    /// Only "two" stays.
    void LosesDefault() const;

private:
    /// \return what the command says, without its line feed
    [[nodiscard]] std::string Ask(const std::string& command) const;

    support::TempDir m_folder;
    support::Child m_server; ///< last, so that it ends before its folder goes
};

} // namespace linux_test
