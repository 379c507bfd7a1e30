// The main function of every test program: a GLib critical or warning ends the test, and nothing that ends it leaves
// its folders behind.

#include "support/Findings.h"
#include "support/FolderKeeper.h"
#include "support/TempDir.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

int main(int argc, char** argv)
{
    ::testing::InitGoogleMock(&argc, argv);
    g_log_set_always_fatal(static_cast<GLogLevelFlags>(G_LOG_FATAL_MASK | G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING));
    support::TempDir::RemoveAllWhenKilled();
    support::KeepFolders();
    support::HandleFindings([](const std::string& finding) { ADD_FAILURE() << finding; });
    return RUN_ALL_TESTS();
}
