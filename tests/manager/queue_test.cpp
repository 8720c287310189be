// The named locks.
#include <gtest/gtest.h>

#include <atomic>
#include <semaphore>
#include <thread>
#include <vector>

#include "support/released.h"
#include "support/temp_directory.h"

namespace {

class QueueTest : public testing::Test {
protected:
    bool enqueue(const char* name) {
        KtbString error;  // one per thread
        return manager->enqueue(name, &error) && error.length() == 0;
    }

    static void join(std::vector<std::thread>* threads) {
        for (std::thread& thread : *threads) thread.join();
    }

    const TempDirectory directory;
    KtbString creationError;
    const Manager manager{ktwtCreateManager("key", directory.path().c_str(), &creationError)};
};

TEST_F(QueueTest, AFreeNameIsTakenAgainAndAgain) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(enqueue("name"));
        manager->dequeue("name");
    }
}

TEST_F(QueueTest, TheSecondThreadComesInOnlyAfterTheFirstHasLeft) {
    std::atomic<bool> left = false;
    std::binary_semaphore running(0);
    ASSERT_TRUE(enqueue("name"));
    std::thread second([&] {
        running.release();
        EXPECT_TRUE(enqueue("name"));
        EXPECT_TRUE(left.load());
        manager->dequeue("name");
    });
    running.acquire();
    for (int i = 0; i < 1000; ++i) std::this_thread::yield();  // time to come in, for a thread that need not wait
    left.store(true);
    manager->dequeue("name");
    second.join();
    EXPECT_TRUE(enqueue("name"));
    manager->dequeue("name");
}

// The count is a plain number: two threads that are in at once lose increments, or are caught by the thread sanitizer.
TEST_F(QueueTest, ManyThreadsAreInOneAtATime) {
    constexpr int threadCount = 8;
    constexpr int rounds = 1000;
    int count = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < rounds; ++i) {
                ASSERT_TRUE(enqueue("name"));
                ++count;
                manager->dequeue("name");
            }
        });
    }
    join(&threads);
    EXPECT_EQ(count, threadCount * rounds);
}

TEST_F(QueueTest, NamesDoNotWaitForEachOther) {
    constexpr std::size_t names = 4;
    int counts[names] = {};
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < 2 * names; ++t) {
        threads.emplace_back([&, name = std::to_string(t % names), n = t % names] {
            for (int i = 0; i < 500; ++i) {
                ASSERT_TRUE(enqueue(name.c_str()));
                ++counts[n];
                manager->dequeue(name.c_str());
            }
        });
    }
    join(&threads);
    for (const int count : counts) EXPECT_EQ(count, 1000);
}

TEST_F(QueueTest, ManyWaitersComeInOneAfterTheOther) {
    constexpr int waiterCount = 16;
    std::atomic<int> inside = 0;
    int passed = 0;
    ASSERT_TRUE(enqueue("name"));
    std::vector<std::thread> waiters;
    for (int t = 0; t < waiterCount; ++t) {
        waiters.emplace_back([&] {
            ASSERT_TRUE(enqueue("name"));
            EXPECT_EQ(inside.fetch_add(1), 0);
            ++passed;
            inside.fetch_sub(1);
            manager->dequeue("name");
        });
    }
    manager->dequeue("name");
    join(&waiters);
    EXPECT_EQ(passed, waiterCount);
}

TEST_F(QueueTest, ANameThatNobodyHoldsIsNotReleased) {
    manager->dequeue("name");
    manager->dequeue("");
    ASSERT_TRUE(enqueue("name"));
    manager->dequeue("another name");
    std::atomic<bool> left = false;
    std::thread second([&] {
        EXPECT_TRUE(enqueue("name"));
        EXPECT_TRUE(left.load());
        manager->dequeue("name");
    });
    for (int i = 0; i < 1000; ++i) std::this_thread::yield();
    left.store(true);
    manager->dequeue("name");
    second.join();
    EXPECT_TRUE(enqueue("name"));
    manager->dequeue("name");
}

TEST_F(QueueTest, ANameIsReleasedByAnotherThread) {
    ASSERT_TRUE(enqueue("name"));
    std::thread([&] { manager->dequeue("name"); }).join();
    ASSERT_TRUE(enqueue("name"));
    manager->dequeue("name");
}

TEST_F(QueueTest, NamesThatDifferAtAllAreDifferentNames) {
    const std::string longName(5000, 'n');
    const KtbString names[] = {
        "name", "Name", "NAME", "name ", "", longName.c_str(), (longName + "n").c_str(), KtbString(nullptr)};
    KtbString error;
    for (const KtbString& name : names) ASSERT_TRUE(manager->enqueue(name, &error));
    for (const KtbString& name : names) manager->dequeue(name);
    for (const KtbString& name : names) ASSERT_TRUE(manager->enqueue(name, &error));
    for (const KtbString& name : names) manager->dequeue(name);
}

TEST_F(QueueTest, ManyNamesAreHeldAtOnceAndReleasedInAnyOrder) {
    constexpr int count = 300;
    const auto nameOf = [](int i) { return "a work table, number " + std::to_string(i); };
    for (int i = 0; i < count; ++i) ASSERT_TRUE(enqueue(nameOf(i).c_str()));
    for (int i = 0; i < count; i += 3) manager->dequeue(nameOf(i).c_str());
    for (int i = count - 1; i >= 0; --i) {
        if (i % 3 != 0) manager->dequeue(nameOf(i).c_str());
    }
    for (int i = 0; i < count; ++i) {
        ASSERT_TRUE(enqueue(nameOf(i).c_str()));
        manager->dequeue(nameOf(i).c_str());
    }
}

// Wherever in the queue a name stands when it is released, those on both sides of it stay held.
TEST_F(QueueTest, NamesStayHeldWhenANeighbourIsReleased) {
    const char* const names[] = {"first", "second", "third"};
    for (const char* released : names) {
        for (const char* name : names) ASSERT_TRUE(enqueue(name));
        manager->dequeue(released);
        for (const char* held : names) {
            if (held == released) continue;
            std::atomic<bool> left = false;
            std::thread waiter([&] {
                EXPECT_TRUE(enqueue(held));
                EXPECT_TRUE(left.load()) << held << " was let go of together with " << released;
                manager->dequeue(held);
            });
            for (int i = 0; i < 1000; ++i) std::this_thread::yield();
            left.store(true);
            manager->dequeue(held);
            waiter.join();
        }
    }
}

TEST_F(QueueTest, ManagersDoNotShareTheirNames) {
    KtbString error;
    const Manager other(ktwtCreateManager("key", directory.path().c_str(), &error));
    ASSERT_TRUE(enqueue("name"));
    EXPECT_TRUE(other->enqueue("name", &error));
    other->dequeue("name");
    manager->dequeue("name");
}

}  // namespace
