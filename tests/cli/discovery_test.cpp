// Searches from the command line, over two rolls of which one holds a copy of the other's picture.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
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
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

class DiscoveryCommandsTest : public CliTest {
protected:
    DiscoveryCommandsTest() {
        sample_roll::RollOptions options;
        options.frames = 5;
        options.megapixels = 0.1;
        sample_roll::makeRoll(kyoto(), options, [](std::string_view) {});
        fs::create_directories(osaka());
        // The formats of the frames vary with what the machine can write.
        for (const auto& entry : fs::directory_iterator(kyoto())) {
            const fs::path& file = entry.path();
            if (file.stem() == "scan_03") fs::copy_file(file, osaka() / ("copy" + file.extension().string()));
            if (file.stem() == "scan_04")
                fs::copy_file(file, osaka() / ("other" + file.extension().string()));
        }
    }

    fs::path kyoto() const { return base() / "scans" / "kyoto"; }
    fs::path osaka() const { return base() / "scans" / "osaka"; }

    /// Gives photos of the roll faces, one each, as an analysis would: the same axis, the same person.
    void setFaces(const std::string& rollName, const std::vector<std::pair<std::size_t, std::size_t>>& axes) {
        KelvarisSystem system({.root = Path(root().string())});
        system.app().start(StartMode::commands);
        const auto& rolls = system.app().rolls();
        const auto roll = *std::find_if(rolls.begin(), rolls.end(),
                                        [&](const RollPointer& each) { return each->name() == rollName; });
        for (const auto& [number, axis] : axes) {
            std::vector<float> vector(faceEmbeddingDimension, 0.0F);
            vector[axis] = 1.0F;
            const PhotoPointer& photo = roll->photos().at(number - 1);
            photo->setFaceRegions(
                std::vector<FaceRegion>{{{0.1, 0.1, 0.2, 0.2}, vector, currentFaceEmbeddingVersion, false}});
            photo->setFaceAnalysisStamp(currentFaceAnalysisStamp);
        }
        ASSERT_TRUE(system.vault().save(*roll));
    }
    /// The photos of each group, by the number at the end of their names.
    std::vector<std::string> people() const {
        std::vector<std::string> all;
        for (const json& group : answer({"people"})) {
            std::string photos;
            for (const json& face : group["faces"]) {
                photos += fs::path(face["photo"].get<std::string>()).stem().string().back();
            }
            all.push_back(photos);
        }
        return all;
    }
};

TEST_F(DiscoveryCommandsTest, ACopiedPictureIsFoundInTheOtherRoll) {
    ASSERT_EQ(run({"open", kyoto().string(), osaka().string()}).status, 0);
    const json found = answer({"similar", "kyoto", "scan_03"});
    ASSERT_FALSE(found.empty());
    EXPECT_EQ(found[0]["name"], "osaka");
    EXPECT_THAT(found[0]["photo"].get<std::string>(), StartsWith("copy."));
    EXPECT_EQ(found[0]["distance"], 0);
    for (const json& each : found)
        EXPECT_THAT(each["photo"].get<std::string>(), Not(StartsWith("scan_03.")))
            << "a photo is not its own copy";

    const Outcome leader = run({"similar", "kyoto", "scan_01"});
    EXPECT_EQ(leader.status, 1);
    EXPECT_THAT(leader.errors, HasSubstr(" of kyoto shows nothing to compare"));
}

TEST_F(DiscoveryCommandsTest, WordsFindPhotosByTheirRollAndTheirLabels) {
    ASSERT_EQ(run({"open", kyoto().string(), osaka().string(), "--no-analysis"}).status, 0);
    ASSERT_EQ(run({"set", "kyoto", "filmName=Portra 400"}).status, 0);
    ASSERT_EQ(run({"label", "osaka", "copy", "+gem"}).status, 0);

    const json byFilm = answer({"search", "portra"});
    ASSERT_EQ(byFilm.size(), 1u);
    EXPECT_EQ(byFilm[0]["name"], "kyoto");
    EXPECT_EQ(byFilm[0]["photos"].size(), 5u);
    EXPECT_EQ(answer({"search", "portra", "--roll", "osaka"}), json::array());

    const json byLabel = answer({"search", "favorite"});
    ASSERT_EQ(byLabel.size(), 1u);
    EXPECT_EQ(byLabel[0]["name"], "osaka");
    EXPECT_THAT(byLabel[0]["photos"].get<std::vector<std::string>>(), ElementsAre(StartsWith("copy.")));
    EXPECT_EQ(answer({"people"}), json::array());
}

TEST_F(DiscoveryCommandsTest, PeopleAreCorrectedAndTheCorrectionsLast) {
    ASSERT_EQ(run({"open", kyoto().string(), "--no-analysis"}).status, 0);
    setFaces("kyoto", {{1, 0}, {2, 0}, {3, 0}, {4, 1}, {5, 1}});
    ASSERT_THAT(people(), ElementsAre("123", "45"));

    const json merged = answer({"people", "merge", "2", "1"});
    EXPECT_EQ(merged["number"], 1);
    EXPECT_EQ(merged["faces"].size(), 5u);
    EXPECT_THAT(people(), ElementsAre("45123"));
    EXPECT_EQ(answer({"people", "split", "kyoto", "scan_01", "1"})["faces"].size(), 1u);
    EXPECT_EQ(answer({"people", "split", "kyoto", "2", "1"})["faces"].size(), 1u);
    EXPECT_THAT(people(), UnorderedElementsAre("453", "1", "2"));
    const std::string id = answer({"people"})[0]["id"];
    EXPECT_EQ(answer({"people", "move", "kyoto", "1", "1", id.substr(0, 8)})["id"], id);
    EXPECT_THAT(people(), ElementsAre("4531", "2"));

    const Outcome session = run({"session"}, "people merge 1 2\nundo\npeople\nredo\npeople\n");
    EXPECT_EQ(session.status, 0) << session.errors;
    EXPECT_THAT(session.output, HasSubstr("Group 1 now has 5 faces: "));
    EXPECT_THAT(session.output, HasSubstr("Undid Merge People"));
    EXPECT_THAT(people(), ElementsAre("45312"));

    const struct {
        std::vector<std::string> words;
        int status;
        std::string says;
    } cases[] = {
        {{"people", "merge", "1", "1"}, 1, "cannot be merged with itself"},
        {{"people", "merge", "1", "no-id"}, 1, "no group is called \"no-id\""},
        {{"people", "merge", "1"}, 2, ""},
        {{"people", "move", "kyoto", "1", "1", "1"}, 1, "in this group already"},
        {{"people", "move", "kyoto", "1", "2", "1"}, 1, "the photo's faces are numbered 1 to 1"},
        {{"people", "split", "kyoto", "1", "0"}, 1, "the photo's faces are numbered 1 to 1"},
        {{"people", "split", "kyoto", "9", "1"}, 1, "no photo is called \"9\""},
        {{"people", "split", "kyoto", "1", "-1"}, 1, "the photo's faces are numbered 1 to 1"},
        {{"people", "rename", "1"}, 2, ""},
    };
    for (const auto& each : cases) {
        const Outcome outcome = run(each.words);
        EXPECT_EQ(outcome.status, each.status) << joined(each.words, " ") << outcome.errors;
        EXPECT_THAT(outcome.errors, HasSubstr(each.says)) << joined(each.words, " ");
    }
    EXPECT_THAT(people(), ElementsAre("45312")) << "and nothing has changed";
}

TEST_F(DiscoveryCommandsTest, WhatCannotBeSearchedIsToldInOneLine) {
    ASSERT_EQ(run({"open", kyoto().string(), "--no-analysis"}).status, 0);
    const struct {
        std::vector<std::string> words;
        int status;
        std::string says;
    } cases[] = {
        {{"search", "portra", "--roll", "nara"}, 1, "no roll is called \"nara\""},
        {{"search", "   "}, 1, "no words to search for"},
        {{"similar", "nara", "1"}, 1, "no roll is called \"nara\""},
        {{"similar", "kyoto", "9"}, 1, "no photo is called \"9\""},
        {{"similar", "kyoto", "3"}, 1, "is not analyzed yet"},
        {{"scenes", "kyoto", "3"}, 1, "Download Smart Search model in Settings > Models"},
        {{"faces", "kyoto", "3"}, 1, "Download Face Match model in Settings > Models"},
        {{"faces", "kyoto", "9", "--face", "1"}, 1, "no photo is called \"9\""},
        {{"search"}, 2, ""},
        {{"faces", "kyoto", "3", "--face", "left"}, 2, ""},
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

}  // namespace
}  // namespace kelvaris::cli
