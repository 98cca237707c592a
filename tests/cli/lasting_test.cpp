// Nothing that was answered is lost, however the program ends.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <optional>
#include <thread>

#include "child_program.h"
#include "cli_test.h"
#include "platform_linux/linux_console.h"
#include "sample_roll/roll_maker.h"
#include "session.h"

namespace kelvaris::cli {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;

class LastingTest : public CliTest {
protected:
    LastingTest() {
        makeScans(scans());
        run({"open", scans().string(), "--no-analysis"});
    }

    static void makeScans(const fs::path& to) {
        sample_roll::RollOptions options;
        options.frames = 4;
        options.megapixels = 0.1;
        sample_roll::makeRoll(to, options, [](std::string_view) {});
    }
    fs::path scans() const { return base() / "scans" / "kyoto"; }

    std::vector<std::string> withRoot(std::vector<std::string> words) const {
        words.insert(words.begin(), {"--root", root().string()});
        return words;
    }

    /// A file of the vault as it is on the disk now.
    std::string stored(const fs::path& name) const {
        std::ifstream file(root() / "vault" / name);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string rollFile() const {
        for (const auto& entry : fs::directory_iterator(root() / "vault" / "rolls")) {
            if (entry.path().extension() == ".md") return stored(entry.path());
        }
        return {};
    }
    /// What the roll's notes are for the next program.
    std::string notes() const { return answer({"show", "kyoto"}).value("notes", ""); }
};

/// The roll's file grows beyond what the process may write.
void limitFileSize() {
    const rlimit limit{200, 200};
    setrlimit(RLIMIT_FSIZE, &limit);
    signal(SIGXFSZ, SIG_IGN);
}

TEST_F(LastingTest, WhatASessionAnsweredOutlivesItsDeath) {
    ChildProgram program(withRoot({"session"}));
    program.type("set kyoto notes=rain\n");
    program.readUntil("kyoto");
    EXPECT_THAT(rollFile(), HasSubstr("notes: rain"));
    program.type("prefs artistName Ute\n");
    program.readUntil("artistName");
    EXPECT_THAT(stored("preferences.md"), HasSubstr("artistName: Ute"));
    program.send(SIGKILL);
    EXPECT_EQ(program.status(), -SIGKILL);
    EXPECT_EQ(notes(), "rain");
}

TEST_F(LastingTest, ASignalEndsAWaitingSessionInOrder) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        ChildProgram program(withRoot({"session"}));
        program.type("rolls\n");
        program.readUntil("kyoto");
        program.send(signal);
        EXPECT_EQ(program.errors(), "");
        EXPECT_EQ(program.status(), 128 + signal);
    }
}

TEST_F(LastingTest, ASignalDuringACommandThatWaitsSavesWhatWaits) {
    FakeConsole console;
    console.sendSignalAfter(0, SIGTERM);
    std::ostringstream output;
    std::ostringstream errors;
    Session session({Path(root().string()), false}, console, output, errors);
    const ChosenCommand endless{Access::write, [](Session& running) {
                                    const RollPointer roll = running.roll("kyoto");
                                    roll->setNotes("half-way");
                                    running.app().scheduleSave(roll);
                                    running.answer("", "done");
                                    running.waitUntil([] { return false; });
                                }};
    EXPECT_FALSE(session.run(endless, Access::write));
    EXPECT_THAT(rollFile(), HasSubstr("notes: half-way"));
    EXPECT_EQ(output.str(), "");
    EXPECT_EQ(session.nextLine(), std::nullopt);
    EXPECT_TRUE(session.finish());
}

TEST_F(LastingTest, ASignalEndsAnAnalysis) {
    const fs::path more = base() / "scans" / "osaka";
    makeScans(more);
    ChildProgram program(withRoot({"open", more.string()}));
    const auto isOpened = [&] {
        const fs::directory_iterator files(root() / "vault" / "rolls");
        return std::count_if(begin(files), end(files),
                             [](const auto& file) { return file.path().extension() == ".md"; }) == 2;
    };
    while (!isOpened()) std::this_thread::yield();
    program.send(SIGTERM);
    EXPECT_EQ(program.status(), 128 + SIGTERM);
    EXPECT_EQ(answer({"show", "osaka"})["photos"].size(), 4u);
}

TEST_F(LastingTest, WhatIsDueRunsWhileASessionWaitsForItsNextLine) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    LinuxConsole console(ends[0]);
    std::ostringstream output;
    std::ostringstream errors;
    Session session({Path(root().string()), false}, console, output, errors);
    session.run({Access::read,
                 [&](Session& running) {
                     running.system().main().postAfter(std::chrono::milliseconds(10),
                                                       [&] { close(ends[1]); });
                 }},
                Access::write);
    EXPECT_EQ(session.nextLine(), std::nullopt);
    close(ends[0]);
}

TEST_F(LastingTest, AnEditIsOnTheDiskThoughNobodyReadsTheAnswer) {
    ChildProgram unread(withRoot({"set", "kyoto", "notes=unread"}));
    unread.closeOutput();
    EXPECT_THAT(unread.errors(), HasSubstr("the answer could not be printed"));
    EXPECT_EQ(unread.status(), 1);
    EXPECT_EQ(notes(), "unread");

    ChildProgram closed(withRoot({"set", "kyoto", "notes=closed"}), [] {
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(stream);
    });
    EXPECT_EQ(closed.status(), 1);
    EXPECT_EQ(notes(), "closed");
    for (const auto& entry : fs::recursive_directory_iterator(root())) {
        if (!entry.is_regular_file() || entry.path().extension() == ".md") continue;
        EXPECT_THAT(stored(entry.path()), Not(HasSubstr("CAMERA"))) << entry.path() << " took the answer";
    }
}

TEST_F(LastingTest, ASaveThatFailsIsToldInPlaceOfTheAnswer) {
    const std::string before = rollFile();
    ChildProgram program(withRoot({"set", "kyoto", "notes=lost"}), limitFileSize);
    EXPECT_EQ(program.readUntil("kyoto"), "");
    EXPECT_THAT(program.errors(), HasSubstr("kelvaris-cli: kyoto could not be saved"));
    EXPECT_EQ(program.status(), 1);
    EXPECT_EQ(rollFile(), before);

    ChildProgram reader(withRoot({"rolls"}), limitFileSize);
    EXPECT_THAT(reader.readUntil("kyoto"), HasSubstr("kyoto"));
    EXPECT_EQ(reader.errors(), "");
    EXPECT_EQ(reader.status(), 0);
}

TEST_F(LastingTest, ASessionGoesOnAfterALineThatCouldNotBeSaved) {
    ChildProgram program(withRoot({"session"}), limitFileSize);
    program.type("set kyoto notes=lost\nshow kyoto\n");
    EXPECT_THAT(program.readUntil("Notes"), HasSubstr("lost")) << "memory has it";
    program.endInput();
    EXPECT_EQ(program.status(), 1);
}

TEST_F(LastingTest, TextThatIsNotUTF8IsRefusedAndFilesOfSuchNamesAreNot) {
    const std::string before = rollFile();
    const std::string foreign = "caf\xE9";
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"set", "kyoto", "notes=" + foreign},
          {"prefs", "artistName", foreign},
          {"show", foreign},
          {"open", (base() / foreign).string()},
          {"search", foreign, "--roll", "kyoto"}}) {
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 2) << words[0];
        EXPECT_THAT(outcome.errors, HasSubstr("is not UTF-8")) << words[0];
    }
    EXPECT_EQ(run({"session"}, "set kyoto notes=" + foreign + "\n").status, 2);
    EXPECT_EQ(rollFile(), before);

    makeScans(base() / foreign);
    EXPECT_EQ(run({"open", (base() / foreign).string(), "--no-analysis"}).status, 0);
    EXPECT_EQ(run({"session"}, "open " + (base() / foreign).string() + "\n").status, 0);
    const json rolls = answer({"rolls"});
    ASSERT_EQ(rolls.size(), 2u);
    EXPECT_EQ(run({"show", rolls[0]["name"]}).status, 0) << "as it is shown";
    EXPECT_EQ(run({"show", rolls[1]["name"]}).status, 0);
}

TEST_F(LastingTest, WhatCannotBeStoredIsRefusedBeforeAnythingChanges) {
    const std::string before = rollFile();
    const struct {
        std::vector<std::string> words;
        int status;
        std::string says;
    } cases[] = {
        {{"dates", "kyoto", "--interval", "1e12"}, 1, "the years 0 to 9999"},
        {{"dates", "kyoto", "--interval", "1e300"}, 1, "the years 0 to 9999"},
        {{"dates", "kyoto", "--interval", "nan"}, 1, "no number of seconds"},
        {{"dates", "kyoto", "--interval", "90x"}, 1, "no number of seconds"},
        {{"dates", "kyoto", "--interval", "-90"}, 1, "no number of seconds"},
        {{"dates", "kyoto", "--start", "9999-12-31", "--interval", "86400"}, 1, "the years 0 to 9999"},
        {{"dates", "kyoto", "--start", "10000-01-01"}, 1, "no date"},
        {{"dates", "kyoto", "--start", "2026-03-14T09:30+02"}, 1, "no date"},
        {{"dates", "kyoto", "--start", "2026-03-14T09:30:1Z"}, 1, "no date"},
        {{"dates", "kyoto", "--start", "2026-03-14T9:30:00"}, 1, "no date"},
        {{"dates", "kyoto", "--start", "2026-03-14", "--timeline", scans().string()}, 1, ""},
        {{"set", "kyoto", "notes=new", "filmISO=400x"}, 1, "no film speed"},
        {{"set", "kyoto", "notes=new", "name=a/b"}, 1, "invalid characters"},
        {{"reorder", "kyoto", "1", "010"}, 2, "no number"},
        {{"reorder", "kyoto", "1", "2x"}, 2, "no number"},
        {{"--root", "", "rolls"}, 2, "--root"},
    };
    for (const auto& each : cases) {
        const Outcome outcome = run(each.words);
        EXPECT_EQ(outcome.status, each.status) << each.words.back() << outcome.errors;
        EXPECT_THAT(outcome.errors, HasSubstr(each.says)) << each.words.back();
        EXPECT_EQ(rollFile(), before) << each.words.back();
    }
    EXPECT_EQ(run({"dates", "kyoto", "--start", "9999-12-30", "--interval", "1"}).status, 0);
    EXPECT_EQ(answer({"show", "kyoto"})["photos"].size(), 4u);
}

TEST_F(LastingTest, ASessionTakesBackWhatItSaved) {
    const json before = answer({"show", "kyoto"});
    const Outcome outcome = run({"session"},
                                "set kyoto notes=rain filmISO=400\n"
                                "dates kyoto --start 2026-03-14 --interval 60\n"
                                "reorder kyoto 1 3\n"
                                "remove kyoto scan_02\n"
                                "undo\nundo\nundo\nundo\n");
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    const json after = answer({"show", "kyoto"});
    for (const char* const key : {"notes", "baseDate", "sortOption", "workflowState", "photoCount"}) {
        EXPECT_EQ(after[key], before[key]) << key;
    }
    EXPECT_FALSE(after.contains("filmISO"));
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(after["photos"][i]["filename"], before["photos"][i]["filename"]);
        EXPECT_NE(after["photos"][i].value("dateSource", ""), "roll");
    }
}

}  // namespace
}  // namespace kelvaris::cli
