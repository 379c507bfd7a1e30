#pragma once

#include <pulse/pulseaudio.h>

namespace sound {

/// The functions of the sound server's client library that are used here.
///
/// The library is loaded when sound is first asked for: with its relatives it takes longer to load than all the rest
/// of the start, and a box without sound does not have it.
struct Library
{
#define VYREL_SOUND_FUNCTIONS(DO)                                                                                      \
    DO(pa_mainloop_new)                                                                                                \
    DO(pa_mainloop_free)                                                                                               \
    DO(pa_mainloop_get_api)                                                                                            \
    DO(pa_mainloop_prepare)                                                                                            \
    DO(pa_mainloop_poll)                                                                                               \
    DO(pa_mainloop_dispatch)                                                                                           \
    DO(pa_context_new)                                                                                                 \
    DO(pa_context_connect)                                                                                             \
    DO(pa_context_disconnect)                                                                                          \
    DO(pa_context_unref)                                                                                               \
    DO(pa_context_get_state)                                                                                           \
    DO(pa_context_errno)                                                                                               \
    DO(pa_context_set_sink_mute_by_name)                                                                               \
    DO(pa_context_get_sink_info_by_name)                                                                               \
    DO(pa_operation_get_state)                                                                                         \
    DO(pa_operation_cancel)                                                                                            \
    DO(pa_operation_unref)                                                                                             \
    DO(pa_strerror)

#define VYREL_SOUND_MEMBER(name) decltype(&::name) name = nullptr;
    VYREL_SOUND_FUNCTIONS(VYREL_SOUND_MEMBER)
#undef VYREL_SOUND_MEMBER

    /// Null, and a line in the log, when the box does not have it or has another one. Tried once.
    static const Library* Loaded();
};

} // namespace sound
