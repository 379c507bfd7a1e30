#include "power/StateFile.h"

#include "Log.h"
#include "features/KeyFilePtr.h"
#include "files/Replace.h"
#include "files/Root.h"
#include "files/SmallFile.h"

#include <glib.h>

#include <device_power.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <string>

namespace power {

namespace {

constexpr const char* kStateFile = "/run/vyrel-lite/power.state";
constexpr const char* kRestartNote = "/var/lib/vyrel-lite/power.restart";
constexpr const char* kBootId = "/proc/sys/kernel/random/boot_id";
constexpr const char* kGroup = "power";
constexpr std::size_t kMostBytes = 4096;

constexpr int kMostAmbientMode = 3;

/// A number of the file, which must be there and in its range.
bool Take(GKeyFile* file, const char* key, int least, int most, int& value)
{
    GError* error = nullptr;
    const int number = g_key_file_get_integer(file, kGroup, key, &error);
    const bool isGood = error == nullptr && number >= least && number <= most;
    g_clear_error(&error);
    if (isGood) {
        value = number;
    }
    return isGood;
}

std::optional<Remembered> Parse(const std::string& text)
{
    const features::KeyFilePtr file(g_key_file_new());
    Remembered remembered;
    int silenced = 0;
    const bool isGood =
        !text.empty() && g_key_file_load_from_data(file.get(), text.data(), text.size(), G_KEY_FILE_NONE, nullptr) &&
        Take(file.get(), "state", DEVICE_POWER_STATE_NORMAL, DEVICE_POWER_STATE_SUSPEND, remembered.state) &&
        Take(file.get(), "ambient-mode", 0, kMostAmbientMode, remembered.ambientMode) &&
        Take(file.get(), "ambient-type", INT_MIN, INT_MAX, remembered.ambientType) &&
        Take(file.get(), "wakeup-reason", INT_MIN, INT_MAX, remembered.wakeupReason) &&
        Take(file.get(), "silenced", 0, 1, silenced);
    remembered.isSilenced = silenced != 0;
    return isGood ? std::optional(remembered) : std::nullopt;
}

std::string TextOf(const Remembered& remembered)
{
    return std::string("[") + kGroup + "]\nstate=" + std::to_string(remembered.state) +
           "\nambient-mode=" + std::to_string(remembered.ambientMode) +
           "\nambient-type=" + std::to_string(remembered.ambientType) +
           "\nwakeup-reason=" + std::to_string(remembered.wakeupReason) +
           "\nsilenced=" + (remembered.isSilenced ? "1" : "0") + "\n";
}

/// Another one for each start of the kernel; empty when it cannot be told.
std::string BootId()
{
    const files::SmallFile file(files::UnderRoot(kBootId), kMostBytes);
    std::string id = file.Text().value_or("");
    while (!id.empty() && g_ascii_isspace(id.back())) {
        id.pop_back();
    }
    return id;
}

} // namespace

std::optional<Remembered> StateFile::Load()
{
    const files::SmallFile file(files::UnderRoot(kStateFile), kMostBytes);
    if (!file.Text()) {
        if (!file.IsMissing()) {
            PLATFORM_LOG(DLOG_ERROR, "%s cannot be read: %s", kStateFile, file.Trouble());
        }
        return std::nullopt;
    }
    const std::optional<Remembered> remembered = Parse(*file.Text());
    if (!remembered) {
        PLATFORM_LOG(DLOG_ERROR, "%s makes no sense: the box counts as just started", kStateFile);
    }
    return remembered;
}

void StateFile::Save(const Remembered& remembered)
{
    static bool isInTrouble = false;
    const bool isSaved = files::Replace(files::UnderRoot(kStateFile), TextOf(remembered));
    if (!isSaved && !isInTrouble) {
        PLATFORM_LOG(DLOG_ERROR, "%s cannot be written: %s", kStateFile, g_strerror(errno));
    }
    isInTrouble = !isSaved;
}

void RestartNote::Leave(int state)
{
    const std::string text = BootId() + " " + std::to_string(state) + "\n";
    if (!files::Replace(files::UnderRoot(kRestartNote), text, files::Durability::Disk)) {
        PLATFORM_LOG(DLOG_ERROR, "%s cannot be written: %s", kRestartNote, g_strerror(errno));
    }
}

void RestartNote::Forget()
{
    ::unlink(files::UnderRoot(kRestartNote).c_str());
}

std::optional<int> RestartNote::Take()
{
    const std::string path = files::UnderRoot(kRestartNote);
    const files::SmallFile file(path, kMostBytes);
    if (!file.Text()) {
        return std::nullopt;
    }
    const std::string& text = *file.Text();
    const std::size_t space = text.find(' ');
    // Still the same run of the kernel: the restart has not come, or the service was faster.
    if (space == std::string::npos || text.substr(0, space) == BootId()) {
        return std::nullopt;
    }
    ::unlink(path.c_str());
    gint64 state = 0;
    const std::string number = text.substr(space + 1, text.find('\n', space) - space - 1);
    const bool isNumber = g_ascii_string_to_signed(number.c_str(), 10, DEVICE_POWER_STATE_NORMAL,
                                                   DEVICE_POWER_STATE_STANDBY, &state, nullptr) != FALSE;
    return isNumber ? std::optional(static_cast<int>(state)) : std::nullopt;
}

} // namespace power
