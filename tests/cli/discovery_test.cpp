// Searches from the command line, over two rolls of which one holds a copy of the other's picture.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "base/text.h"
#include "program.h"
#include "sample_roll/roll_maker.h"
#include "temporary_folder.h"

namespace kelvaris::cli {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

struct Outcome {
    int status = 0;
    std::string output;
    std::string errors;
};

class DiscoveryCommandsTest : public ::testing::Test {
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

    fs::path base() const { return fs::path(folder.path().string()); }
    fs::path kyoto() const { return base() / "scans" / "kyoto"; }
    fs::path osaka() const { return base() / "scans" / "osaka"; }

    Outcome run(std::vector<std::string> words) const {
        words.insert(words.begin(), {"--root", (base() / "root").string()});
        std::istringstream in;
        std::ostringstream out;
        std::ostringstream errors;
        const int status = runProgram(words, in, out, errors);
        return {status, out.str(), errors.str()};
    }
    json answer(std::vector<std::string> words) const {
        words.insert(words.begin(), "--json");
        const Outcome outcome = run(std::move(words));
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        return json::parse(outcome.output, nullptr, false);
    }

    testing::TemporaryFolder folder;
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
