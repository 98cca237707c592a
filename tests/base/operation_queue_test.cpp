#include "base/operation_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>

namespace kelvaris {
namespace {

TEST(OperationQueueTest, NeverMoreThanItsWidthRunAtOnce) {
    std::atomic<int> running{0};
    std::atomic<int> most{0};
    std::atomic<int> done{0};
    {
        ThreadedOperationQueue queue("test", 3);
        for (int i = 0; i < 200; ++i) {
            queue.add([&] {
                const int now = ++running;
                int seen = most;
                while (seen < now && !most.compare_exchange_weak(seen, now)) {
                }
                std::this_thread::yield();
                --running;
                ++done;
            });
        }
        queue.waitUntilIdle();
    }
    EXPECT_EQ(done, 200);
    EXPECT_LE(most, 3);
}

TEST(OperationQueueTest, UrgentOperationsOvertakeWaitingOnes) {
    std::latch started(1);
    std::latch release(1);
    std::string order;
    ThreadedOperationQueue queue("test", 1);
    queue.add([&] {
        started.count_down();
        release.wait();
    });
    started.wait();
    queue.add([&] { order += 'b'; }, OperationPriority::veryLow);
    queue.add([&] { order += 'c'; }, OperationPriority::veryLow);
    queue.add([&] { order += 'a'; });
    release.count_down();
    queue.waitUntilIdle();
    EXPECT_EQ(order, "abc");
}

TEST(OperationQueueTest, AClosingQueueFinishesWhatRunsAndDropsWhatWaits) {
    std::latch started(1);
    std::atomic<int> ran{0};
    std::atomic<int> ended{0};
    std::thread releaser;
    std::latch release(1);
    {
        ThreadedOperationQueue queue("test", 1, [&] { ++ended; });
        queue.add([&] {
            started.count_down();
            release.wait();
            ++ran;
        });
        started.wait();
        for (int i = 0; i < 10; ++i) queue.add([&] { ran += 100; });
        releaser = std::thread([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            release.count_down();
        });
    }
    releaser.join();
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(ended, 1);
}

}  // namespace
}  // namespace kelvaris
