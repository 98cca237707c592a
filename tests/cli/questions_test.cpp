// What a command asks before it takes something away.

#include <gmock/gmock.h>
#include <pty.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "assembly/kelvaris_system.h"
#include "child_program.h"
#include "cli_test.h"
#include "sample_roll/roll_maker.h"

namespace kelvaris::cli {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::Not;

class QuestionsTest : public CliTest {
protected:
    QuestionsTest() {
        sample_roll::RollOptions options;
        options.frames = 3;
        options.megapixels = 0.1;
        sample_roll::makeRoll(base() / "kyoto", options, [](std::string_view) {});
        run({"open", (base() / "kyoto").string(), "--no-analysis"});
    }

    /// Runs the command on a terminal, where the person types that.
    Outcome asked(const std::vector<std::string>& words, const std::string& typed) const {
        FakeConsole console(typed);
        console.setCanAsk(true);
        return run(words, console);
    }

    /// Gives each photo a date of that source, as an analysis would; the first ones come first.
    void setDates(const std::vector<std::optional<MetadataSource>>& sources) const {
        KelvarisSystem system({.root = Path(root().string())});
        system.app().start(StartMode::commands);
        const RollPointer roll = system.app().rolls().at(0);
        for (std::size_t i = 0; i < sources.size(); ++i) {
            roll->photos()[i]->setCaptureDate(parseTimestamp("1994-03-02"));
            roll->photos()[i]->setDateSource(sources[i]);
        }
        ASSERT_TRUE(system.vault().save(*roll));
    }

    std::string rollFile() const {
        for (const auto& entry : fs::directory_iterator(root() / "vault" / "rolls")) {
            if (entry.path().extension() != ".md") continue;
            std::ifstream file(entry.path());
            return {std::istreambuf_iterator<char>(file), {}};
        }
        return {};
    }

    const std::vector<std::string> dates{"dates", "kyoto", "--start", "2026-03-14", "--interval", "60"};
};

/// A terminal whose other end a test holds.
struct PseudoTerminal {
    PseudoTerminal() { EXPECT_EQ(openpty(&hand, &line, nullptr, nullptr, nullptr), 0); }
    ~PseudoTerminal() {
        close(hand);
        close(line);
    }

    /// Reads what is shown until that is there.
    std::string readUntil(std::string_view text) const {
        std::string shown;
        std::array<char, 4096> bytes{};
        while (shown.find(text) == std::string::npos) {
            const ssize_t count = read(hand, bytes.data(), bytes.size());
            if (count <= 0) break;
            shown.append(bytes.data(), static_cast<std::size_t>(count));
        }
        return shown;
    }

    int hand = -1;
    int line = -1;
};

TEST_F(QuestionsTest, DatesThatAreGuessesAreReplacedWithoutAQuestion) {
    EXPECT_EQ(run(dates).errors, "") << "no photo had a date";
    EXPECT_EQ(run(dates).errors, "") << "an earlier assignment is no loss";
    setDates({std::nullopt, std::nullopt});
    const Outcome outcome = run(dates);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "kelvaris-cli: This will replace dates on 2 photos with existing dates.\n");
}

TEST_F(QuestionsTest, DatesThatSomebodyKnewAreReplacedAfterAYes) {
    for (const auto source : {MetadataSource::exif, MetadataSource::photo}) {
        setDates({source, std::nullopt, MetadataSource::roll});
        const std::string before = rollFile();
        const Outcome script = run(dates, "y\n");
        EXPECT_EQ(script.status, 1);
        EXPECT_THAT(script.errors, HasSubstr("This will replace dates on "));
        EXPECT_THAT(script.errors, HasSubstr(" (say --yes to do it)\n"));
        for (const char* const typed : {"n\n", "\n", "", "yesterday\n"}) {
            const Outcome refused = asked(dates, typed);
            EXPECT_EQ(refused.status, 1) << typed;
            EXPECT_EQ(refused.output, "") << typed;
            EXPECT_THAT(refused.errors, HasSubstr("[y/N] ")) << typed;
        }
        EXPECT_EQ(rollFile(), before);
        EXPECT_EQ(asked(dates, " Y \n").status, 0);
        EXPECT_THAT(rollFile(), Not(HasSubstr("1994-03-02")));
    }
    setDates({MetadataSource::exif});
    std::vector<std::string> agreed = dates;
    agreed.emplace_back("--yes");
    const Outcome outcome = run(agreed);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.errors, HasSubstr("1 photo with original EXIF dates."));
}

TEST_F(QuestionsTest, ARollThatIsDroppedWithWhatTheUserSaidAsks) {
    run({"set", "kyoto", "notes=precious"});
    const Outcome script = run({"drop", "kyoto"});
    EXPECT_EQ(script.status, 1);
    EXPECT_THAT(script.errors, HasSubstr("camera and film metadata"));
    EXPECT_THAT(script.errors, HasSubstr("say --yes to do it"));
    EXPECT_EQ(asked({"drop", "kyoto"}, "n\n").status, 1);
    EXPECT_EQ(asked({"reset"}, "n\n").status, 1);
    const Outcome session = asked({"session"}, "drop kyoto\nset kyoto filmName=HP5\n");
    EXPECT_EQ(session.status, 1);
    EXPECT_THAT(session.errors, Not(HasSubstr("[y/N]")));
    EXPECT_THAT(session.output, HasSubstr("HP5")) << "the next line is no answer";
    EXPECT_EQ(run({"session"}, "drop kyoto --yes\nundo\n").status, 0);
    EXPECT_EQ(answer({"rolls"}).size(), 1u);
    run({"set", "kyoto", "notes=", "filmName="});
    EXPECT_EQ(run({"drop", "kyoto"}).status, 0) << "nothing is lost";
    EXPECT_EQ(answer({"rolls"}).size(), 0u);
}

TEST_F(QuestionsTest, AQuestionNeedsAPersonWhoSeesIt) {
    run({"set", "kyoto", "notes=precious"});
    const PseudoTerminal terminal;
    const std::vector<std::string> words{"--root", root().string(), "drop", "kyoto"};
    {
        ChildProgram unseen(words, [&] { dup2(terminal.line, STDIN_FILENO); });
        EXPECT_THAT(unseen.errors(), HasSubstr("say --yes to do it"));
        EXPECT_EQ(unseen.status(), 1);
    }
    ChildProgram program(words, [&] {
        dup2(terminal.line, STDIN_FILENO);
        dup2(terminal.line, STDERR_FILENO);
    });
    EXPECT_THAT(terminal.readUntil("[y/N] "), HasSubstr("camera and film metadata"));
    EXPECT_EQ(write(terminal.hand, "y\n", 2), 2);
    EXPECT_THAT(program.readUntil("Removed"), HasSubstr("Removed kyoto"));
    EXPECT_EQ(program.status(), 0);
}

}  // namespace
}  // namespace kelvaris::cli
