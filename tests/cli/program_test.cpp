
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "assembly/kelvaris_system.h"
#include "base/text.h"
#include "cli_test.h"
#include "sample_roll/roll_maker.h"

namespace kelvaris::cli {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

class ProgramTest : public CliTest {
protected:
    ProgramTest() {
        sample_roll::RollOptions options;
        options.frames = 5;
        options.megapixels = 0.1;
        sample_roll::makeRoll(scans().string(), options, [](std::string_view) {});
    }

    fs::path scans() const { return base() / "scans" / "2026-03-kyoto"; }

    fs::path emptyFolder() const {
        const fs::path empty = base() / "empty";
        fs::create_directories(empty);
        return empty;
    }

    std::string rollFile() const {
        for (const auto& entry : fs::directory_iterator(root() / "vault" / "rolls")) {
            if (entry.path().extension() != ".md") continue;
            std::ifstream file(entry.path());
            return {std::istreambuf_iterator<char>(file), {}};
        }
        return {};
    }
};

TEST_F(ProgramTest, AFolderOfScansBecomesARollThatLastsAndExports) {
    ASSERT_EQ(run({"open", scans().string()}).status, 0);
    ASSERT_EQ(run({"set", "2026", "cameraMake=Nikon", "filmName=Portra 400", "filmISO=400", "notes=rain: é"})
                  .status,
              0);
    ASSERT_EQ(
        run({"dates", "2026-03-kyoto", "--start", "2026-03-14T09:30", "--interval", "90", "--yes"}).status,
        0);
    EXPECT_EQ(run({"export", "2026"}).output, "Exported 5 photos to Kelvaris_Export/\n");
    EXPECT_TRUE(fs::exists(scans() / "Kelvaris_Export" / "roll_005-2026-03-14.jpg"));

    const json roll = answer({"show", "2026"});
    EXPECT_EQ(roll["filmName"], "Portra 400");
    EXPECT_EQ(roll["filmISO"], 400);
    EXPECT_EQ(roll["notes"], "rain: é");
    EXPECT_EQ(roll["workflowState"], "exported");
    EXPECT_EQ(roll["exportDirty"], false);
    ASSERT_EQ(roll["photos"].size(), 5u);
    EXPECT_EQ(roll["photos"][0]["dateSource"], "roll");
    EXPECT_FALSE(roll["photos"][0].contains("placeName"));
    EXPECT_EQ(answer({"rolls"}).size(), 1u);
}

TEST_F(ProgramTest, ASaveRewritesNothingButWhatChanged) {
    run({"open", scans().string()});
    run({"set", "2026", "notes=first", "filmName=HP5"});
    const std::vector<std::string> before = split(rollFile(), '\n');
    run({"set", "2026", "notes=second"});
    const std::vector<std::string> after = split(rollFile(), '\n');
    ASSERT_EQ(before.size(), after.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (before[i] != after[i]) {
            EXPECT_THAT(before[i], HasSubstr("first"));
            EXPECT_THAT(after[i], HasSubstr("second"));
        }
    }
}

TEST_F(ProgramTest, FailuresAreOneClearLineAndWrongUsageIsTold) {
    run({"open", scans().string()});
    const struct {
        std::vector<std::string> words;
        int status;
        std::string says;
    } cases[] = {
        {{"show", "osaka"}, 1, "no roll is called \"osaka\""},
        {{"open", "/nowhere/at/all"}, 1, "no such folder"},
        {{"open", emptyFolder().string()}, 1, "no folder with pictures"},
        {{"set", "2026", "filmISO=fast"}, 1, "\"fast\" is no film speed"},
        {{"set", "2026", "shutter=60"}, 1, "is not KEY=VALUE"},
        {{"set", "2026", "cameraFormat=36mm"}, 1, "35mm"},
        {{"dates", "2026", "--start", "yesterday"}, 1, "is no date"},
        {{"export", "2026-04"}, 1, "no roll"},
        {{"rotate", "2026", "9", "cw"}, 1, "no photo is called \"9\""},
        {{"reset"}, 1, "--yes"},
        {{"mirror", "now"}, 1, "no mirror is on"},
        {{"inspect", "vault", scans().string()}, 1, ""},
        {{"frobnicate"}, 2, ""},
        {{"rotate", "2026", "1", "sideways"}, 2, ""},
        {{}, 2, ""},
    };
    for (const auto& each : cases) {
        const Outcome outcome = run(each.words);
        EXPECT_EQ(outcome.status, each.status) << joined(each.words, " ") << outcome.errors;
        EXPECT_THAT(outcome.errors, HasSubstr(each.says)) << joined(each.words, " ");
        EXPECT_EQ(outcome.output, "") << joined(each.words, " ");
        if (each.status == 1) {
            EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1);
        }
    }
}

TEST_F(ProgramTest, AnOpenedRollIsAnalysedOnce) {
    run({"open", scans().string()});
    const json photos = answer({"show", "2026"})["photos"];
    EXPECT_THAT(photos[0]["labels"], Contains("blank")) << "the film's leader";
    int gems = 0;
    for (const json& photo : photos) {
        EXPECT_EQ(photo["labelsAnalyzed"], true);
        const bool isBlank = std::ranges::find(photo["labels"], "blank") != photo["labels"].end();
        EXPECT_NE(photo.contains("perceptualHash"), isBlank) << photo["filename"];
        EXPECT_NE(photo.contains("dominantColors"), isBlank) << photo["filename"];
        gems += std::ranges::find(photo["labels"], "gem") != photo["labels"].end() ? 1 : 0;
    }
    EXPECT_LE(gems, 1);
    const std::string before = rollFile();
    run({"open", scans().string()});
    EXPECT_EQ(rollFile(), before);
}

TEST_F(ProgramTest, EditsOfPhotosReachTheVault) {
    run({"open", scans().string(), "--no-analysis"});
    EXPECT_THAT(run({"label", "2026", "1", "+gem", "-blur"}).output, HasSubstr("gem"));
    EXPECT_THAT(run({"rotate", "2026", "scan_02", "ccw"}).output, HasSubstr("270°"));
    EXPECT_EQ(run({"reorder", "2026", "1", "5"}).status, 0);
    const json roll = answer({"show", "2026"});
    EXPECT_EQ(roll["sortOption"], "custom");
    const json& last = roll["photos"].back();
    EXPECT_EQ(last["filename"], "scan_01.jpg");
    EXPECT_EQ(last["labels"], json::array({"gem"}));
    EXPECT_EQ(last["manualLabelOverrides"], (json{{"blur", false}, {"gem", true}}));
    EXPECT_EQ(roll["photos"][0]["rotation"], 270);
    EXPECT_EQ(roll["photos"][0]["displayRotationDegrees"], -90);
}

TEST_F(ProgramTest, TheExportsOfARollAreNoRoll) {
    run({"open", scans().string()});
    run({"dates", "2026", "--start", "2026-03-14", "--yes"});
    run({"export", "2026"});
    run({"open", scans().parent_path().string()});
    EXPECT_EQ(answer({"rolls"}).size(), 1u);
}

TEST_F(ProgramTest, ASessionUndoesAndKeepsOtherWritersOut) {
    run({"open", scans().string(), "--no-analysis"});
    const Outcome outcome = run({"session"},
                                "rotate 2026 1 cw\n"
                                "label 2026 1 +gem\n"
                                "undo\n"
                                "# a remark\n\n"
                                "show nobody\n"
                                "redo\n"
                                "undo\n"
                                "undo\n"
                                "undo\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.output, HasSubstr("Undid Add Gem"));
    EXPECT_THAT(outcome.output, HasSubstr("Redid Add Gem"));
    EXPECT_THAT(outcome.output, HasSubstr("Undid Rotate Clockwise"));
    EXPECT_THAT(outcome.errors, HasSubstr("nothing to undo"));
    const json photo = answer({"show", "2026"})["photos"][0];
    EXPECT_EQ(photo["rotation"], 0);
    EXPECT_EQ(photo["labels"], json::array());
}

TEST_F(ProgramTest, ASecondWriterIsRefusedWhileReadersWork) {
    run({"open", scans().string()});
    const std::string before = rollFile();
    SystemOptions options;
    options.root = Path(root().string());
    {
        KelvarisSystem holder(options);
        ASSERT_TRUE(holder.vault().canWrite());
        const Outcome writer = run({"set", "2026", "notes=mine"});
        EXPECT_EQ(writer.status, 1);
        EXPECT_THAT(writer.errors, HasSubstr("kelvaris-cli: "));
        EXPECT_EQ(run({"rolls"}).status, 0);
        EXPECT_EQ(rollFile(), before);
    }
    EXPECT_EQ(run({"set", "2026", "notes=mine"}).status, 0);
    EXPECT_THAT(rollFile(), HasSubstr("notes: mine"));
}

TEST_F(ProgramTest, ALibraryMovesToAnotherPlaceThroughItsMirror) {
    const fs::path backup = fs::path(folder.path().string()) / "disk";
    fs::create_directories(backup);
    run({"open", scans().string()});
    run({"set", "2026", "notes=precious"});
    EXPECT_EQ(run({"mirror", "on", backup.string()}).output, "1 backed up\n");
    run({"set", "2026", "filmName=HP5"});  // follows the save
    EXPECT_EQ(answer({"verify"})["rolls"][0]["mirror"], "agrees");
    EXPECT_EQ(run({"reset", "--yes"}).status, 0);
    EXPECT_EQ(answer({"rolls"}).size(), 0u);
    EXPECT_EQ(run({"mirror", "restore", backup.string()}).output, "Restored 1 rolls from backup folder\n");
    json roll = answer({"show", "2026"});
    EXPECT_EQ(roll["notes"], "precious");
    EXPECT_EQ(roll["filmName"], "HP5");
    EXPECT_EQ(roll["isDisconnected"], false) << "found by its path";
    EXPECT_EQ(run({"locate", "2026", scans().string()}).status, 0);
    EXPECT_EQ(answer({"show", "2026"})["photos"].size(), 5u);
}

TEST_F(ProgramTest, WhatIsNotInTheMirrorIsToldAndGoesOnAtTheNextStart) {
    const fs::path backup = fs::path(folder.path().string()) / "disk";
    fs::create_directories(backup);
    run({"open", scans().string()});
    EXPECT_THAT(run({"mirror", "on", root().string()}).errors, HasSubstr("own data"));
    EXPECT_EQ(run({"mirror", "on", backup.string()}).status, 0);
    EXPECT_EQ(answer({"mirror", "status"})["upToDate"], 1);

    const fs::path copy = fs::directory_iterator(backup / "Kelvaris" / "rolls")->path();
    fs::remove(copy);
    fs::create_directories(copy / "in the way");
    const Outcome behind = run({"set", "2026", "notes=later"});
    EXPECT_EQ(behind.status, 1);
    EXPECT_THAT(behind.errors, HasSubstr("2026"));
    EXPECT_THAT(behind.errors, HasSubstr("next start"));
    EXPECT_THAT(rollFile(), HasSubstr("notes: later"));
    EXPECT_EQ(answer({"mirror", "status"})["behind"].size(), 1u);
    EXPECT_THAT(run({"mirror", "now"}).errors, HasSubstr("Backup failed: "));

    fs::remove_all(copy);
    EXPECT_EQ(run({"prefs", "artistName", "Ann"}).status, 0);
    EXPECT_EQ(answer({"mirror", "status"})["behind"].size(), 0u);

    fs::create_directories(backup.parent_path() / "elsewhere");
    fs::rename(backup, backup.parent_path() / "elsewhere" / "disk");
    const Outcome paused = run({"set", "2026", "notes=at last"});
    EXPECT_EQ(paused.status, 0) << "a mirror that is away is paused";
    EXPECT_THAT(paused.errors, HasSubstr("not in the mirror"));
    EXPECT_EQ(answer({"mirror", "status"})["reachable"], false);
    EXPECT_EQ(run({"mirror", "restore", backup.string()}).status, 1);
}

TEST_F(ProgramTest, AdviceIsGivenAndKept) {
    run({"open", scans().string(), "--no-analysis"});
    const json advice = answer({"advise"});
    EXPECT_EQ(advice["cameras"].size(), 3u);
    EXPECT_EQ(advice["films"].size(), 3u);
    std::ifstream file(root() / "vault" / "preferences.md");
    const std::string kept{std::istreambuf_iterator<char>(file), {}};
    EXPECT_THAT(kept, HasSubstr("gearRecommendations:"));
    EXPECT_THAT(kept, HasSubstr(advice["films"][0]["entry"]["catalogId"].get<std::string>()));

    const json films = answer({"catalog", "films", "kodak portra"});
    ASSERT_FALSE(films.empty());
    EXPECT_EQ(films[0]["brand"], "Kodak");
    EXPECT_EQ(answer({"catalog", "cameras", "no such camera"}), json::array());
}

TEST_F(ProgramTest, ThePaletteListsCommandsAndPerformsThem) {
    run({"open", scans().string(), "--no-analysis"});
    const json items = answer({"palette", "sort"});
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[1]["title"], "Switch to Ascending");
    EXPECT_EQ(answer({"palette", "sort", "--pick", "2"})["action"], "toggleSortDirection");
    EXPECT_EQ(answer({"palette", "sort"})[1]["title"], "Switch to Descending");
    EXPECT_EQ(answer({"palette", "photos", "--roll", "2026"}).front()["category"], "Rolls");
    EXPECT_EQ(run({"palette", "settings", "--pick", "1"}).status, 1);
    EXPECT_THAT(run({"palette", "sort", "--pick", "3"}).errors, HasSubstr("the list has 2 entries"));
}

TEST_F(ProgramTest, VerifyFindsWhatIsTornAndChangesNothing) {
    run({"open", scans().string()});
    run({"set", "2026", "notes=good"});
    EXPECT_TRUE(answer({"verify"})["isClean"]);
    fs::path file;
    for (const auto& entry : fs::directory_iterator(root() / "vault" / "rolls")) {
        if (entry.path().extension() == ".md") file = entry.path();
    }
    std::ofstream(file) << "---\nversion: 3\n";
    const Outcome torn = run({"verify"});
    EXPECT_EQ(torn.status, 1);
    EXPECT_THAT(torn.output, HasSubstr("only backup 1 decodes"));
    EXPECT_EQ(fs::file_size(file), 15u);
    EXPECT_EQ(answer({"rolls"}).size(), 1u) << "the backup stands in";

    // The next save sets the damaged file aside, where it lies until the user wants it gone.
    run({"set", "2026", "notes=better"});
    fs::path aside;
    for (const auto& entry : fs::directory_iterator(root() / "vault" / "rolls")) {
        if (entry.path().string().find(".md.damaged-") != std::string::npos) aside = entry.path();
    }
    ASSERT_FALSE(aside.empty());
    const fs::path removed = root() / "vault" / "removed" / "2999-03-14" / file.filename();
    fs::create_directories(removed.parent_path());
    fs::copy_file(file, removed);
    EXPECT_EQ(run({"verify"}).status, 1);
    EXPECT_TRUE(fs::exists(aside) && fs::exists(removed)) << "looking changes nothing";
    const Outcome cleaned = run({"verify", "--clean"});
    EXPECT_EQ(cleaned.status, 0) << cleaned.errors;
    EXPECT_THAT(cleaned.output, HasSubstr(aside.string() + ": removed"));
    EXPECT_THAT(cleaned.output, HasSubstr("was removed on 2999-03-14; forgotten"));
    EXPECT_FALSE(fs::exists(aside) || fs::exists(removed));
    EXPECT_EQ(answer({"show", "2026"})["notes"], "better");
    std::ofstream(root() / "vault" / "rolls" / "my list.md") << "text";
    EXPECT_THAT(run({"verify"}).output, HasSubstr("my list.md: is not named after a roll"));
}

TEST_F(ProgramTest, ModelsThatDoNotFitAreToldLineByLine) {
    const fs::path model = emptyFolder() / "NIMA.mlmodelc";
    fs::create_directories(model);
    std::ofstream(model / "model.onnx") << "no model";
    const Outcome outcome = run({"--json", "models", "check", model.string()});
    EXPECT_EQ(outcome.status, 1);
    if (outcome.errors.find("No model can run") != std::string::npos) GTEST_SKIP() << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr("1 fail"));
    const json report = json::parse(outcome.output);
    EXPECT_EQ(report["fits"], false);
    EXPECT_EQ(report["findings"][0]["model"], "NIMA.mlmodelc");
    EXPECT_EQ(report["findings"][0]["verdict"], "fails");
    EXPECT_THAT(run({"models", "check", emptyFolder().string() + "/.."}).output,
                HasSubstr("holds no model.onnx"));
}

}  // namespace
}  // namespace kelvaris::cli
