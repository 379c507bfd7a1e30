#include "NotSupported.h"
#include "features/KeyFiles.h"
#include "sound/Server.h"

#include <sound_manager.h>

#include <optional>
#include <string>

namespace {

constexpr int kSoundFailed = -1;
constexpr int kSoundNotFound = -2;

/// The sink of the box's own speaker, where it has a name in the key files.
constexpr const char* kSpeakerKey = "sink.0";

int ResultOf(sound::Result result, const char* function)
{
    switch (result) {
    case sound::Result::Done:
        return 0;
    case sound::Result::Absent:
        return NotSupported(function, "no sound server answers");
    case sound::Result::Failed:
        break;
    }
    return kSoundFailed;
}

std::string SpeakerSink()
{
    return features::KeyFiles::OfBox().PlatformText(kSpeakerKey).value_or(sound::kDefaultSink);
}

} // namespace

int sound_manager_set_tv_master_mute(bool mute)
{
    return ResultOf(sound::Server::OfProcess().SetMute(sound::kDefaultSink, mute), __func__);
}

int sound_manager_set_device_mute(int device, bool mute)
{
    if (device != SOUND_DEVICE_TV_SPEAKER) {
        return kSoundNotFound;
    }
    return ResultOf(sound::Server::OfProcess().SetMute(SpeakerSink(), mute), __func__);
}

int sound_manager_get_device_mute(int device, bool* mute)
{
    if (mute == nullptr) {
        return kSoundFailed;
    }
    if (device != SOUND_DEVICE_TV_SPEAKER) {
        return kSoundNotFound;
    }
    return ResultOf(sound::Server::OfProcess().GetMute(SpeakerSink(), mute), __func__);
}
