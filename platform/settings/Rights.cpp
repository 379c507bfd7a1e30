#include "Rights.h"

#include "Locations.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string_view>

namespace settings {
namespace {

constexpr mode_t kAllModes = 07777;
constexpr mode_t kGroupMode = 0070;

std::error_code LastError()
{
    return {errno, std::generic_category()};
}

// Whether nothing but settings is in a folder, so that its rights are the store's business.
bool HoldsNothingElse(const std::string& folder)
{
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (name != kWatchersFolder && !name.starts_with(kPersistentFile) && !name.starts_with(kMemoryFile)) {
            return false;
        }
    }
    return !error;
}

// False where that is not allowed. Owner and group first: a file that cannot be given to the folder's group is not
// opened to its own.
bool Give(const std::string& path, const struct stat& status, mode_t mode, const Rights& rights)
{
    const uid_t owner = geteuid() == 0 ? rights.owner : status.st_uid;
    const gid_t group = rights.shared || geteuid() == 0 ? rights.group : status.st_gid;
    if ((owner != status.st_uid || group != status.st_gid) && lchown(path.c_str(), owner, group) != 0) {
        mode &= ~kGroupMode;
    }
    return (status.st_mode & kAllModes) == mode || fchmodat(AT_FDCWD, path.c_str(), mode, AT_SYMLINK_NOFOLLOW) == 0;
}

// Makes a folder and those above it, which other programs use as well and which get the usual rights.
std::error_code MakeFolder(const std::string& folder)
{
    std::error_code error;
    const auto above = std::filesystem::path(folder).parent_path();
    if (!above.empty()) {
        std::filesystem::create_directories(above, error);
    }
    return !error && mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST ? LastError() : error;
}

std::error_code Look(const std::string& folder, struct stat& status)
{
    if (stat(folder.c_str(), &status) == 0) {
        return {};
    }
    if (const std::error_code error = MakeFolder(folder); error) {
        return error;
    }
    return stat(folder.c_str(), &status) == 0 ? std::error_code() : LastError();
}

} // namespace

std::error_code PrepareFolder(const std::string& folder, Rights& rights)
{
    struct stat status
    {};
    if (const std::error_code error = Look(folder, status); error) {
        return error;
    }
    const mode_t mode = status.st_mode & kAllModes;
    rights = {(mode & kGroupMode) == kGroupMode, status.st_uid, status.st_gid};
    const mode_t narrow = mode & (rights.shared ? 07770 : 07700);
    if (mode != narrow && (mode & S_ISVTX) == 0 && HoldsNothingElse(folder)) {
        chmod(folder.c_str(), narrow);
    }
    return {};
}

std::error_code PrepareInnerFolder(const std::string& folder, Rights& rights)
{
    if (const std::error_code error = PrepareFolder(std::filesystem::path(folder).parent_path(), rights); error) {
        return error;
    }
    struct stat status
    {};
    if (const std::error_code error = Look(folder, status); error) {
        return error;
    }
    Give(folder, status, rights.shared ? S_ISGID | 0770 : 0700, rights);
    return {};
}

void ApplyRights(const std::string& file, const Rights& rights)
{
    struct stat status
    {};
    if (lstat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
        Give(file, status, rights.FileMode(), rights);
    }
}

} // namespace settings
