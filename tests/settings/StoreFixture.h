// A store in a fresh folder, and a recorder of what its watchers are told.
#pragma once

#include "settings/Store.h"
#include "support/TempDir.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace settings {

// Iterates the main loop until `condition` holds. False when that takes more than a generous time.
inline bool RunUntil(const std::function<bool()>& condition)
{
    bool late = false;
    const guint deadline = g_timeout_add_seconds(
        30,
        [](gpointer flag) -> gboolean {
            *static_cast<bool*>(flag) = true;
            return G_SOURCE_CONTINUE;
        },
        &late);
    while (!condition() && !late) {
        g_main_context_iteration(nullptr, TRUE);
    }
    g_source_remove(deadline);
    return !late;
}

// Lets everything that is due on the main loop happen.
inline void RunWhatIsDue()
{
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

class StoreFixture : public ::testing::Test
{
protected:
    std::string PersistentFile() const
    {
        return m_folders.persistent + "/" + std::string(kPersistentFile);
    }
    std::string MemoryFile() const
    {
        return m_folders.memory + "/" + std::string(kMemoryFile);
    }
    std::string WatchersFolder() const
    {
        return m_folders.memory + "/watchers";
    }

    support::TempDir m_folder{"settings-test"}; // throws rather than lead to the settings of this machine
    std::string m_root = m_folder.Path();
    Folders m_folders = FoldersUnder(m_root);
};

// What watchers were told, as "KEY=VALUE" in the order of the calls.
struct Recorder
{
    std::vector<std::string> notices;

    static std::string Text(keynode* node)
    {
        if (std::holds_alternative<int>(node->value)) {
            return node->key + "=" + std::to_string(KeyNodeInt(node));
        }
        if (std::holds_alternative<bool>(node->value)) {
            return node->key + "=" + (KeyNodeBool(node) ? "true" : "false");
        }
        return node->key + "=\"" + KeyNodeStr(node) + "\"";
    }

    static void OnChange(keynode* node, void* self)
    {
        static_cast<Recorder*>(self)->notices.push_back(Text(node));
    }

    static void OnChangeToo(keynode* node, void* self)
    {
        static_cast<Recorder*>(self)->notices.push_back("too " + Text(node));
    }
};

} // namespace settings
