// A store in a fresh folder, and a recorder of what its watchers are told.
#pragma once

#include "settings/Store.h"
#include "support/TempDir.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

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

// How long the main loop would sleep now when nothing else happened, in milliseconds: -1 for ever, 0 when something is
// due.
inline gint TimeToNextWakeUp()
{
    GMainContext* loop = g_main_context_default();
    if (g_main_context_acquire(loop) == FALSE) {
        return 0;
    }
    gint priority = 0;
    gint timeout = 0;
    if (g_main_context_prepare(loop, &priority) == FALSE) {
        g_main_context_query(loop, priority, &timeout, nullptr, 0);
    }
    g_main_context_release(loop);
    return timeout;
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

    // Does to the persistent file what the store itself never does.
    void RunSql(const std::string& sql) const
    {
        sqlite3* connection = nullptr;
        ASSERT_EQ(sqlite3_open(PersistentFile().c_str(), &connection), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(connection);
        sqlite3_close(connection);
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
