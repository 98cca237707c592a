#include "base/run_end.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform_fake/fake_clock.h"

namespace kelvaris {
namespace {

class RunEndingTest : public ::testing::Test {
protected:
    FakeClock clock;
    MainQueue main{clock.monotonic()};
    Lifetime subject;
    std::vector<RunEnd> ends;

    RunEnding ending(const WeakToken& of) {
        return {main, of, [this](RunEnd end) {
                    EXPECT_TRUE(main.isCurrent());
                    ends.push_back(end);
                }};
    }
};

TEST_F(RunEndingTest, TheFirstWordOfAnyHolderIsTheOnlyOne) {
    {
        const RunEnding one = ending(subject.weak());
        const RunEnding other = one;
        one.tell(RunEnd::failed);
        other.tell(RunEnd::completed);
    }
    main.drain();
    EXPECT_EQ(ends, std::vector{RunEnd::failed});
    RunEnding().tell(RunEnd::completed);
}

TEST_F(RunEndingTest, TheLastHolderThatGoesInSilenceIsHeardOnTheMainThread) {
    std::thread([held = ending(subject.weak())]() mutable { held = RunEnding(); }).join();
    EXPECT_TRUE(ends.empty());
    main.drain();
    EXPECT_EQ(ends, std::vector{RunEnd::cancelled});
}

TEST_F(RunEndingTest, WhatTheRunWasForHasGoneWhateverItsWorkerSays) {
    auto gone = std::make_unique<Lifetime>();
    const RunEnding told = ending(gone->weak());
    auto dropped = std::make_unique<RunEnding>(ending(gone->weak()));
    gone.reset();
    EXPECT_TRUE(told.isSubjectGone());
    told.tell(RunEnd::completed);
    dropped.reset();
    main.drain();
    EXPECT_EQ(ends, (std::vector{RunEnd::subjectGone, RunEnd::subjectGone}));
}

TEST_F(RunEndingTest, ARunThatWaitsInAQueueThatEndsIsDroppedWithIt) {
    auto own = std::make_unique<MainQueue>(clock.monotonic());
    own->post([held = RunEnding(*own, subject.weak(), [this](RunEnd end) { ends.push_back(end); })] {});
    own.reset();
    EXPECT_TRUE(ends.empty());
}

}  // namespace
}  // namespace kelvaris
