#include "ktb/lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <semaphore>
#include <thread>
#include <vector>

#include "support/failing_new.h"

namespace {

TEST(LockTest, IsTakenAndReleased) {
    const ktLock lock = ktLockCreate(0, 0);
    ASSERT_NE(lock, nullptr);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ktLockGet(lock, 1, 1), 0);
        EXPECT_EQ(ktLockRelease(lock), 0);
    }
    ktLockDestroy(lock);
}

TEST(LockTest, DestroyingNullDoesNothing) { ktLockDestroy(nullptr); }

TEST(LockTest, IsNullWhenMemoryIsExhausted) {
    failing_new::failAt(0);
    const ktLock lock = ktLockCreate(0, 0);
    failing_new::stop();
    EXPECT_EQ(lock, nullptr);
}

TEST(LockTest, IsReleasedByAnotherThreadThanTheOneThatTookIt) {
    const ktLock lock = ktLockCreate(0, 0);
    ktLockGet(lock, 1, 1);
    std::thread([&] { ktLockRelease(lock); }).join();
    EXPECT_EQ(ktLockGet(lock, 1, 1), 0);
    ktLockRelease(lock);
    ktLockDestroy(lock);
}

TEST(LockTest, AThreadThatTakesItTwiceWaitsForSomebodyElse) {
    const ktLock lock = ktLockCreate(0, 0);
    std::atomic<bool> released = false;
    std::binary_semaphore taken(0);
    std::thread owner([&] {
        ktLockGet(lock, 1, 1);
        taken.release();
        ktLockGet(lock, 1, 1);
        EXPECT_TRUE(released.load());
        ktLockRelease(lock);
    });
    taken.acquire();
    released.store(true);
    ktLockRelease(lock);
    owner.join();
    ktLockDestroy(lock);
}

TEST(LockTest, LetsOneThreadInAtATime) {
    const ktLock lock = ktLockCreate(0, 0);
    constexpr int threadCount = 4;
    constexpr int rounds = 5000;
    std::atomic<int> inside = 0;
    std::atomic<int> most = 0;
    long counter = 0;  // guarded by nothing but the lock
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (int t = 0; t < threadCount; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < rounds; ++i) {
                ktLockGet(lock, 1, 1);
                if (inside.fetch_add(1) != 0) most.store(2);
                ++counter;
                inside.fetch_sub(1);
                ktLockRelease(lock);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counter, threadCount * rounds);
    EXPECT_EQ(most.load(), 0);
    ktLockDestroy(lock);
}

// A baton that is passed on by releasing what the other one waits for: neither thread can go twice in a row.
TEST(LockTest, HandsABatonBackAndForth) {
    const ktLock turns[] = {ktLockCreate(0, 0), ktLockCreate(0, 0)};
    ktLockGet(turns[1], 1, 1);
    std::vector<int> order;
    const auto play = [&](int self) {
        for (int i = 0; i < 1000; ++i) {
            ktLockGet(turns[self], 1, 1);
            order.push_back(self);
            ktLockRelease(turns[1 - self]);
        }
    };
    std::thread other(play, 1);
    play(0);
    other.join();
    ASSERT_EQ(order.size(), 2000u);
    for (std::size_t i = 0; i < order.size(); ++i) ASSERT_EQ(order[i], static_cast<int>(i % 2));
    ktLockDestroy(turns[0]);
    ktLockDestroy(turns[1]);
}

TEST(LockTest, AWaiterMayDestroyItAsSoonAsItWasHandedOn) {
    for (int i = 0; i < 2000; ++i) {
        const ktLock lock = ktLockCreate(0, 0);
        ktLockGet(lock, 1, 1);
        std::binary_semaphore started(0);
        std::thread waiter([&] {
            started.release();
            ktLockGet(lock, 1, 1);
            ktLockRelease(lock);
            ktLockDestroy(lock);
        });
        started.acquire();
        ktLockRelease(lock);
        waiter.join();
    }
}

}  // namespace
