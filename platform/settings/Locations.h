// Where the settings are kept. The store, the simulated television and the command take the places from here, so that
// they always mean the same ones.
#pragma once

#include <string>
#include <string_view>

namespace settings {

inline constexpr std::string_view kPersistentFolder = "/var/lib/vyrel-lite";
inline constexpr std::string_view kMemoryFolder = "/run/vyrel-lite";

inline constexpr std::string_view kPersistentFile = "settings.db";
inline constexpr std::string_view kMemoryFile = "settings-memory.db";

// In the folder of the memory file: what the watching processes need, for both files.
inline constexpr std::string_view kWatchersFolder = "watchers";

inline constexpr std::string_view kPersistentPrefix = "db/";
inline constexpr std::string_view kMemoryPrefix = "memory/";

// The two folders of a store. Missing folders are made. They are the store's own: who may use them may use the
// settings, and nobody else (Rights.h).
struct Folders
{
    std::string persistent; // survives a reboot: the keys under "db/"
    std::string memory;     // on a RAM file system: the keys under "memory/", and what the watchers need
};

// The usual folders, with `root` ("" or a folder without a slash at its end) in front of them.
inline Folders FoldersUnder(std::string_view root)
{
    return {std::string(root).append(kPersistentFolder), std::string(root).append(kMemoryFolder)};
}

} // namespace settings
