// Several threads of one process, each with a store of its own: what the stores share, they share unknowingly.

#include "StoreFixture.h"
#include "settings/Store.h"
#include "settings/Value.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <thread>
#include <vector>

namespace settings {
namespace {

using ThreadsTest = StoreFixture;

// On a busy machine another writer may hold the file for longer than a call waits.
bool SetInTurn(Store& store, const std::string& key, int value)
{
    constexpr int kTurns = 100;
    for (int turn = 0; turn < kTurns; ++turn) {
        if (store.Set(key.c_str(), value) == kOk) {
            return true;
        }
    }
    return false;
}

TEST_F(ThreadsTest, EachMayHaveAStoreOfItsOwnOnTheSameFiles)
{
    constexpr std::size_t kThreads = 4;
    constexpr int kWrites = 20;
    std::vector<int> read(kThreads, 0);
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < kThreads; ++number) {
        threads.emplace_back([this, number, &read] {
            const std::string key = "db/thread/" + std::to_string(number);
            Store store(m_folders);
            for (int value = 1; value <= kWrites; ++value) {
                EXPECT_TRUE(SetInTurn(store, key, value)) << key;
            }
            EXPECT_EQ(store.GetInt(key.c_str(), &read[number]), kOk) << key;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(read, std::vector<int>(kThreads, kWrites));
}

} // namespace
} // namespace settings
