#include "platform_linux/linux_console.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string_view>
#include <thread>

namespace kelvaris {
namespace {

using namespace std::chrono_literals;
using Next = Console::Next;

class LinuxConsoleTest : public ::testing::Test {
protected:
    LinuxConsoleTest() { EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0); }
    ~LinuxConsoleTest() override {
        close(ends[0]);
        endInput();
    }

    void type(std::string_view text) {
        EXPECT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void endInput() {
        if (ends[1] >= 0) close(ends[1]);
        ends[1] = -1;
    }

    std::array<int, 2> ends{};
    std::string line;
};

TEST_F(LinuxConsoleTest, LinesComeWholeHoweverTheyWereWritten) {
    LinuxConsole console(ends[0]);
    EXPECT_EQ(console.takeLine(line), Next::expected);
    type("ro");
    console.sleep(std::nullopt);  // ends with the input
    EXPECT_EQ(console.takeLine(line), Next::expected);
    type("lls\n\nshow 1\nund");
    for (const char* const expected : {"rolls", "", "show 1"}) {
        ASSERT_EQ(console.takeLine(line), Next::line);
        EXPECT_EQ(line, expected);
    }
    EXPECT_EQ(console.takeLine(line), Next::expected);
    type("o");
    endInput();
    ASSERT_EQ(console.takeLine(line), Next::line) << "a last line may lack its end";
    EXPECT_EQ(line, "undo");
    EXPECT_EQ(console.takeLine(line), Next::end);
    EXPECT_EQ(console.takeLine(line), Next::end);
}

TEST_F(LinuxConsoleTest, ASleepEndsByAWakeOrByTheTimeAndNotByInputThatNobodyExpects) {
    LinuxConsole console(ends[0]);
    console.wake();
    console.sleep(std::nullopt);
    std::thread waker([&] { console.wake(); });
    console.sleep(std::nullopt);
    waker.join();
    type("undo\n");
    const auto start = std::chrono::steady_clock::now();
    console.sleep(20ms);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 20ms);
    console.sleep(-1s);
}

TEST_F(LinuxConsoleTest, AnInputThatIsClosedIsOver) {
    LinuxConsole console(-1);
    EXPECT_EQ(console.takeLine(line), Next::expected) << "nothing to poll";
    const int writeOnly = open("/dev/null", O_WRONLY | O_CLOEXEC);
    LinuxConsole refused(writeOnly);
    EXPECT_EQ(refused.takeLine(line), Next::end);
    close(writeOnly);
}

TEST_F(LinuxConsoleTest, ASignalEndsTheSleepAndOnesThatWereIgnoredStaySo) {
    std::signal(SIGHUP, SIG_IGN);
    {
        LinuxConsole console(ends[0]);
        std::raise(SIGHUP);
        std::raise(SIGPIPE);
        EXPECT_FALSE(console.endingSignal());
        std::raise(SIGTERM);
        console.sleep(std::nullopt);
        EXPECT_EQ(console.endingSignal(), SIGTERM);
        std::raise(SIGTERM);  // as a time limit sends it twice
        EXPECT_EQ(console.endingSignal(), SIGTERM);
    }
    std::signal(SIGHUP, SIG_DFL);
    EXPECT_EQ(std::signal(SIGTERM, SIG_DFL), SIG_DFL) << "handed back";
    EXPECT_EQ(alarm(0), 0u) << "the grace is over with the object";
    LinuxConsole next(ends[0]);
    EXPECT_FALSE(next.endingSignal());
}

TEST_F(LinuxConsoleTest, ASecondSignalEndsTheProcessAtOnce) {
    EXPECT_EXIT(
        {
            LinuxConsole console(ends[0]);
            std::raise(SIGINT);
            std::this_thread::sleep_for(EndingSignals::oneBurst);
            std::raise(SIGTERM);
        },
        ::testing::ExitedWithCode(128 + SIGTERM), "");
}

TEST_F(LinuxConsoleTest, AProgramThatDoesNotEndIsEnded) {
    EXPECT_EXIT(
        {
            LinuxConsole console(ends[0]);
            std::raise(SIGINT);
            std::raise(SIGALRM);  // the grace is over
        },
        ::testing::ExitedWithCode(128 + SIGINT), "Stopped while work was under way");
}

}  // namespace
}  // namespace kelvaris
