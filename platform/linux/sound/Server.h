#pragma once

#include <glib.h>

#include <pulse/pulseaudio.h>

#include <string>

namespace sound {

struct Library;

enum class Result
{
    Done,
    Absent, ///< no sound server answers
    Failed  ///< it answered with an error, such as for a sink that is not there
};

/// The sink that sounds go to unless they say otherwise, whichever that is at the time.
inline constexpr const char* kDefaultSink = "@DEFAULT_SINK@";

/// The sound server, which may be absent, come, go and come back. Each question waits for its answer, kPatienceMs at
/// most, on a loop of its own; between the questions nothing happens here. A server that let one wait in vain is left
/// alone for kRestMs.
///
/// Where the server is, is the business of its client library, or of the key "sound.server" of the platform's group in
/// the key files: a system service does not see the server of somebody's session by itself.
class Server
{
public:
    static constexpr int kPatienceMs = 500;
    static constexpr int kRestMs = 5000;

    static Server& OfProcess();

    Server() = default;
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    Result SetMute(const std::string& sink, bool mute);
    /// \param mute touched when Done
    Result GetMute(const std::string& sink, bool* mute);

private:
    struct Answer
    {
        bool isThere = false;
        bool isGood = false;
        bool isMuted = false;
    };

    static void OnDone(pa_context* context, int success, void* answer);
    static void OnSink(pa_context* context, const pa_sink_info* info, int end, void* answer);

    bool Connect();
    void Disconnect();
    [[nodiscard]] bool IsConnected() const;
    /// Runs the loop once, no longer than the time that is left.
    bool Turn();
    Result Wait(pa_operation* operation, const Answer& answer);

    const Library* m_library = nullptr;
    pa_mainloop* m_loop = nullptr;
    pa_context* m_context = nullptr;
    gint64 m_deadline = 0; ///< of the question that is being asked; monotonic, microseconds
    gint64 m_restsUntil = 0;
    bool m_saidAbsent = false;
};

} // namespace sound
