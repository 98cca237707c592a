#include "base/main_queue.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "base/run_loop.h"
#include "platform_fake/fake_clock.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;

class MainQueueTest : public ::testing::Test {
protected:
    FakeClock clock;
    MainQueue queue{clock.monotonic()};
    std::string order;
    MainQueue::Task note(char c) {
        return [this, c] { order += c; };
    }
};

TEST_F(MainQueueTest, TasksRunInTheOrderOfTheirDueTimesAndThenOfPosting) {
    queue.postAfter(2s, note('d'));
    queue.postAfter(1s, note('b'));
    queue.postAfter(1s, note('c'));
    queue.post(note('a'));
    clock.advance(queue, 999ms);
    EXPECT_EQ(order, "a");
    clock.advance(queue, 5s);
    EXPECT_EQ(order, "abcd");
}

TEST_F(MainQueueTest, ACancelledTimerDoesNotRunAndOneThatRanIsNoLongerPending) {
    TimerHandle cancelled = queue.postAfter(1s, note('x'));
    TimerHandle kept = queue.postAfter(1s, note('k'));
    cancelled.cancel();
    EXPECT_FALSE(cancelled.isPending());
    EXPECT_TRUE(kept.isPending());
    clock.advance(queue, 2s);
    EXPECT_EQ(order, "k");
    EXPECT_FALSE(kept.isPending());
}

TEST_F(MainQueueTest, ATaskMayDrainTheQueueItRunsIn) {
    queue.post([this] {
        order += '(';
        queue.drain();
        order += ')';
    });
    queue.post(note('x'));
    queue.drain();
    EXPECT_EQ(order, "(x)");
}

TEST_F(MainQueueTest, ASpentBudgetLeavesTheRestAndSaysSo) {
    queue.post([this] { clock.advance(5ms); });
    queue.post(note('x'));
    const auto drained = queue.drain(4ms);
    EXPECT_TRUE(drained.moreIsDue);
    EXPECT_EQ(order, "");
    EXPECT_FALSE(queue.drain().moreIsDue);
    EXPECT_EQ(order, "x");
}

TEST_F(MainQueueTest, TheRunLoopWakesForPostsOfOtherThreads) {
    RunLoop loop(queue);
    bool done = false;
    std::thread poster([&] { queue.post([&] { done = true; }); });
    loop.runUntil([&] { return done; });
    poster.join();
    EXPECT_TRUE(done);
}

TEST_F(MainQueueTest, TheRunLoopSleepsUntilTheNextTimer) {
    struct TurnedSleep final : Sleep {
        explicit TurnedSleep(FakeClock& clock) : clock(clock) {}
        void sleep(std::optional<std::chrono::nanoseconds> atMost) override {
            ASSERT_TRUE(atMost);
            clock.advance(*atMost);
            ++sleeps;
        }
        void wake() override {}
        FakeClock& clock;
        int sleeps = 0;
    } sleep(clock);
    RunLoop loop(queue, sleep);
    queue.postAfter(3s, note('b'));
    queue.postAfter(2s, note('a'));
    loop.runUntil([&] { return order == "ab"; });
    EXPECT_EQ(sleep.sleeps, 2);
}

}  // namespace
}  // namespace kelvaris
