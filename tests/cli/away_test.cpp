// Folders, scans and vault files that are not there, as a user of the command line meets them.

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>

#include "base/text.h"
#include "child_program.h"
#include "cli_test.h"
#include "sample_roll/roll_maker.h"

namespace kelvaris::cli {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;

class AwayTest : public CliTest {
protected:
    AwayTest() {
        makeScans(kyoto(), 4);
        run({"open", kyoto().string(), "--no-analysis"});
        run({"dates", "kyoto", "--start", "2026-03-14", "--interval", "60"});
    }

    static void makeScans(const fs::path& to, int frames) {
        sample_roll::RollOptions options;
        options.frames = frames;
        options.megapixels = 0.1;
        sample_roll::makeRoll(to, options, [](std::string_view) {});
    }
    /// Files of pictures that are no pictures; nothing looks into them here.
    static void makeFiles(const fs::path& to, const std::vector<std::string>& names) {
        fs::create_directories(to);
        for (const std::string& name : names) std::ofstream(to / name) << "of " << to;
    }
    fs::path kyoto() const { return base() / "scans" / "kyoto"; }
    /// The file of the photo; its format varies with what the machine can write.
    fs::path scan(int number) const { return answer({"show", "kyoto"})["photos"][number - 1]["sourceURL"]; }

    std::vector<fs::path> rollFiles() const {
        std::vector<fs::path> files;
        for (const auto& entry : fs::directory_iterator(root() / "vault" / "rolls")) {
            if (entry.path().extension() == ".md") files.push_back(entry.path());
        }
        return files;
    }
    static std::string contents(const fs::path& path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

TEST_F(AwayTest, ARollThatIsAwaySaysWhyAndExportsNothing) {
    const std::string before = contents(rollFiles().at(0));
    const json whole = answer({"show", "kyoto"});
    EXPECT_FALSE(whole.contains("awayReason"));
    const fs::path disk = base() / "disk";
    fs::rename(kyoto(), disk);
    const struct {
        std::function<void()> happens;
        std::string reason;
    } cases[] = {
        {[] {}, "its folder is not there"},
        {[&] { fs::create_directories(kyoto()); }, "its folder is empty"},
        {[&] {
             makeFiles(kyoto(), {"DSC_0001.JPG", "DSC_0002.JPG"});
         },
         "its folder holds other files"},
    };
    for (const auto& each : cases) {
        each.happens();
        EXPECT_THAT(run({"rolls"}).output, HasSubstr("away: " + each.reason));
        EXPECT_THAT(run({"show", "kyoto"}).output, HasSubstr("away: " + each.reason));
        EXPECT_EQ(answer({"rolls"})[0]["awayReason"], each.reason);
        const json roll = answer({"show", "kyoto"});
        EXPECT_EQ(roll["photos"].size(), 4u);
        for (const json& photo : roll["photos"]) EXPECT_EQ(photo["isMissing"], true);
        const Outcome exported = run({"export", "kyoto"});
        EXPECT_EQ(exported.status, 1);
        EXPECT_EQ(exported.errors, "kelvaris-cli: Could not export kyoto: " + each.reason + "\n");
        EXPECT_FALSE(fs::exists(kyoto() / "Kelvaris_Export"));
        EXPECT_EQ(run({"search", "kyoto"}).errors, "");
        EXPECT_EQ(contents(rollFiles().at(0)), before) << each.reason;
    }
    fs::remove_all(kyoto());
    fs::rename(disk, kyoto());
    const json back = answer({"show", "kyoto"});
    EXPECT_EQ(back["isDisconnected"], false);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(back["photos"][i]["isMissing"], false);
        EXPECT_EQ(back["photos"][i]["captureDate"], whole["photos"][i]["captureDate"]);
    }
    EXPECT_EQ(run({"export", "kyoto"}).status, 0);
}

TEST_F(AwayTest, AScanThatIsAwayIsNamedAndLeftOut) {
    const fs::path away = scan(2);
    fs::rename(away, base() / "lent");
    const std::string shown = run({"show", "kyoto"}).output;
    EXPECT_THAT(shown, HasSubstr("Missing  1 photo: " + away.filename().string()));
    EXPECT_THAT(shown, HasSubstr(away.filename().string() + " (missing)"));
    EXPECT_THAT(shown, HasSubstr("State    metadata_assigned")) << "the roll is there";
    const Outcome exported = run({"export", "kyoto"});
    EXPECT_EQ(exported.status, 0) << exported.errors;
    EXPECT_EQ(exported.output,
              "Exported 3 photos to Kelvaris_Export/\nLeft out, since their files are missing: " +
                  away.filename().string() + "\n");
    EXPECT_EQ(answer({"export", "kyoto"})["missing"], json::array({away.filename().string()}));
    fs::rename(base() / "lent", away);
    EXPECT_FALSE(answer({"export", "kyoto"}).contains("missing"));
}

TEST_F(AwayTest, APhotoThatWasTakenOutComesBackWhole) {
    run({"label", "kyoto", "2", "+gem"});
    const json before = answer({"show", "kyoto"})["photos"];
    const std::string name = before[1]["filename"];
    EXPECT_EQ(run({"remove", "kyoto", "2"}).status, 0);
    EXPECT_THAT(run({"show", "kyoto"}).output, HasSubstr("Removed  1 photo: " + name));
    const json without = answer({"show", "kyoto"});
    EXPECT_EQ(without["photos"].size(), 3u);
    EXPECT_EQ(without["removedPhotos"][0]["filename"], name);

    const Outcome wrong = run({"remove", "--back", "kyoto", "scan_01"});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_THAT(wrong.errors, HasSubstr("no photo that was taken out is called \"scan_01\""));
    EXPECT_EQ(run({"remove", "--back", "kyoto", "scan_02"}).output, name + " is back in the roll\n");
    const json after = answer({"show", "kyoto"});
    EXPECT_EQ(after["photos"].size(), 4u);
    EXPECT_FALSE(after.contains("removedPhotos"));
    EXPECT_EQ(after["photos"][1]["filename"], name);
    EXPECT_EQ(after["photos"][1]["captureDate"], before[1]["captureDate"]);
    EXPECT_EQ(after["photos"][1]["labels"], before[1]["labels"]);
}

TEST_F(AwayTest, AFolderThatIsTakenByForceIsTheRollsFromThenOn) {
    const fs::path osaka = base() / "scans" / "osaka";
    makeFiles(osaka, {"a.jpg", "b.jpg"});
    run({"open", osaka.string(), "--no-analysis"});
    const fs::path empty = base() / "empty";
    fs::create_directories(empty);
    fs::rename(kyoto(), base() / "disk");
    const struct {
        fs::path folder;
        std::string says;
    } refused[] = {
        {osaka, "the folder belongs to the roll osaka"},
        {empty, "the folder holds no pictures"},
        {base() / "nowhere", "no such folder"},
    };
    for (const auto& each : refused) {
        for (const char* const force : {"", "--force"}) {
            std::vector<std::string> words{"locate", "kyoto", each.folder.string()};
            if (*force != 0) words.emplace_back(force);
            const Outcome outcome = run(words);
            EXPECT_EQ(outcome.status, 1) << each.says << force;
            EXPECT_THAT(outcome.errors, HasSubstr(each.says)) << force;
        }
    }
    const fs::path nara = base() / "nara";
    makeFiles(nara, {"n1.jpg", "n2.jpg"});
    const Outcome unforced = run({"locate", "kyoto", nara.string()});
    EXPECT_EQ(unforced.status, 1);
    EXPECT_THAT(unforced.errors, HasSubstr("holds other files than the roll; --force takes it"));
    EXPECT_EQ(answer({"show", "kyoto"})["awayReason"], "its folder is not there");
    EXPECT_EQ(run({"locate", "kyoto", nara.string(), "--force"}).status, 0);

    const json roll = answer({"show", "nara"});
    EXPECT_EQ(roll["isDisconnected"], false) << "also for the next program";
    EXPECT_EQ(roll["photos"].size(), 6u);
    EXPECT_EQ(std::ranges::count_if(roll["photos"], [](const json& photo) { return photo["isMissing"]; }), 4);
    EXPECT_EQ(run({"locate", "nara", (base() / "disk").string(), "--force"}).status, 0) << "and back";
    EXPECT_EQ(answer({"show", "disk"})["photos"].back()["dateSource"], "roll");
}

TEST_F(AwayTest, RollFilesThatCannotBeReadAreToldOnceAndCounted) {
    makeFiles(base() / "osaka", {"a.jpg", "b.jpg"});
    run({"open", (base() / "osaka").string(), "--no-analysis"});
    for (const fs::path& file : rollFiles()) {
        if (contents(file).find("osaka") == std::string::npos) continue;
        for (int i = 1; i <= 3; ++i) fs::remove(file.string() + ".bak" + std::to_string(i));
        std::ofstream(file) << "damaged";
    }
    EXPECT_THAT(run({"rolls"}).output, HasSubstr("\n1 roll file could not be read; see verify\n"));
    EXPECT_EQ(answer({"rolls"}).size(), 1u);
    ChildProgram program({"--root", root().string(), "show", "kyoto"});
    const std::vector<std::string> lines = split(program.errors(), '\n');
    EXPECT_EQ(std::ranges::count_if(
                  lines, [](const std::string& line) { return line.find(".md") != std::string::npos; }),
              1);
    EXPECT_EQ(program.status(), 0);
}

}  // namespace
}  // namespace kelvaris::cli
