// Searches that need models, end to end: small installed networks that know colours and tell faces apart.

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>

#include "assembly/kelvaris_system.h"
#include "cli_test.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/onnx_inference.h"
#include "platform_linux/vips_codec.h"
#include "sample_roll/writers.h"
#include "test_models/sample_models.h"

namespace kelvaris::cli {
namespace {

namespace fs = std::filesystem;
namespace models = test_models;
using nlohmann::json;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

/// A vocabulary of three words, with their numbers in the published one.
constexpr std::string_view vocabulary = R"({
  "encoder": {"green</w>": 1901, "blue</w>": 1746, "ice</w>": 733},
  "merges": ["g r", "gr e", "gre e", "gree n</w>", "b l", "bl u", "blu e</w>", "i c", "ic e</w>"]})";

class ModelSearchTest : public CliTest {
protected:
    void SetUp() override {
        const LinuxFiles files;
        if (const auto reason = OnnxInferenceRuntime(files).missingReason()) {
            GTEST_SKIP() << "the inference runtime is not on this machine: " << *reason;
        }
    }

    Path scan(const std::string& roll, const std::string& name) const {
        fs::create_directories(base() / "scans" / roll);
        return Path((base() / "scans" / roll / (name + ".jpg")).string());
    }
    /// A scan of which a share is of one colour, and the rest of another.
    void paint(const std::string& roll, const std::string& name, const std::string& color, double share,
               const std::string& rest) const {
        Bitmap bitmap{300, 200, 3, {}};
        for (int i = 0; i < 300 * 200; ++i) {
            const auto found = std::find_if(
                models::sampleColors.begin(), models::sampleColors.end(),
                [&](const auto& each) { return each.name == (i < 300 * 200 * share ? color : rest); });
            for (const float value : found->color) {
                bitmap.pixels.push_back(static_cast<std::uint8_t>(value * 255));
            }
        }
        LinuxFiles files;
        ASSERT_TRUE(
            files.writeAtomically(scan(roll, name), *VipsImageCodec::make()->encodeJpeg(bitmap, 0.9)));
    }
    /// A scan of the person of that number.
    void portray(const std::string& roll, const std::string& name, std::uint64_t person, int width) const {
        sample_roll::Frame frame({.scene = sample_roll::Scene::portrait,
                                  .seed = person,
                                  .width = width,
                                  .height = width * 2 / 3,
                                  .stamp = {}});
        ASSERT_EQ(sample_roll::writeJpeg(scan(roll, name).string(), frame, 92, {}),
                  sample_roll::WriteOutcome::written);
    }
    void paintColors() const {
        paint("kyoto", "bay", "blue", 0.8, "white");
        paint("kyoto", "meadow", "green", 1.0, "green");
        paint("osaka", "coast", "blue", 0.25, "green");
        paint("osaka", "frost", "white", 1.0, "white");
        paint("osaka", "lake", "blue", 0.9, "green");
    }
    void install(const std::string& folder, const std::string& model) const {
        fs::create_directories(root() / "models" / folder);
        std::ofstream(root() / "models" / folder / "model.onnx", std::ios::binary) << model;
    }
    void installSmartSearch() const {
        install("clip-vit-b16-dfn/CLIPImageEncoder.mlmodelc", models::colorImageEncoder());
        install("clip-vit-b16-dfn/CLIPTextEncoder.mlmodelc", models::colorTextEncoder());
        std::ofstream(root() / "models/clip-vit-b16-dfn/clip_tokenizer.json") << vocabulary;
    }
    void installFaceMatch() const { install("facenet/MobileFaceNet.mlmodelc", models::faceEncoder()); }
    void open(bool analyzes) const {
        std::vector<std::string> words{"open", (base() / "scans/kyoto").string(),
                                       (base() / "scans/osaka").string()};
        if (!analyzes) words.emplace_back("--no-analysis");
        ASSERT_EQ(run(words).status, 0);
    }
    /// The photos that a search finds.
    std::vector<std::string> found(const std::string& query) const {
        std::vector<std::string> all;
        for (const json& roll : answer({"search", query})) {
            for (const json& photo : roll["photos"]) {
                all.push_back(roll["name"].get<std::string>() + "/" + photo.get<std::string>());
            }
        }
        return all;
    }
    static std::vector<std::string> names(const json& matches) {
        std::vector<std::string> all;
        for (const json& match : matches) {
            all.push_back(match["name"].get<std::string>() + "/" + match["photo"].get<std::string>());
        }
        return all;
    }
};

TEST_F(ModelSearchTest, ScenesAreMadeComparableOnTheWayAndAreThenFoundByWords) {
    paintColors();
    installSmartSearch();
    open(false);
    const json scenes = answer({"scenes", "kyoto", "bay"});
    EXPECT_THAT(names(scenes["matches"]), ElementsAre("osaka/lake.jpg"));
    EXPECT_EQ(scenes["processed"], 4);
    EXPECT_EQ(scenes["failed"], 0);

    EXPECT_THAT(found("blue"), UnorderedElementsAre("osaka/lake.jpg", "osaka/coast.jpg", "kyoto/bay.jpg"));
    EXPECT_THAT(answer({"search", "blue", "--roll", "osaka"})[0]["photos"],
                ElementsAre("lake.jpg", "coast.jpg"))
        << "the bluest first";
    EXPECT_THAT(found("ice"), Contains("osaka/frost.jpg"));

    ASSERT_EQ(run({"rotate", "osaka", "lake", "cw"}).status, 0);
    EXPECT_THAT(found("blue"), Contains("osaka/lake.jpg"))
        << "the search waits for the turned picture's vector";
    EXPECT_THAT(names(answer({"scenes", "kyoto", "bay"})["matches"]), ElementsAre("osaka/lake.jpg"));
    ASSERT_EQ(run({"models", "disable", "clip-vit-b16-dfn"}).status, 0);
    EXPECT_EQ(answer({"search", "ice"}), json::array());
    EXPECT_THAT(run({"scenes", "kyoto", "bay"}).errors, HasSubstr("Download Smart Search model"));
}

TEST_F(ModelSearchTest, ASearchWaitsForPicturesThatNobodyHasLookedAt) {
    paintColors();
    installSmartSearch();
    open(false);
    const auto lookedAt = [&] {
        std::ifstream file(root() / "state" / "kelvaris.log");
        const std::string log{std::istreambuf_iterator<char>(file), {}};
        return std::pair(log.find("CLIP embeddings for 3 photos") != std::string::npos,
                         log.find("CLIP embeddings for 2 photos") != std::string::npos);
    };
    EXPECT_EQ(answer({"search", "blue", "--roll", "osaka"}).size(), 1u);
    EXPECT_EQ(lookedAt(), std::pair(true, false)) << "the other roll can wait";
    {
        const KelvarisSystem other({.root = Path(root().string())});
        const Outcome beside = run({"search", "blue"});
        EXPECT_THAT(beside.output, HasSubstr("bay.jpg"));
        EXPECT_EQ(beside.errors, "") << "it finds all the same, and cannot keep what it made";
        EXPECT_EQ(run({"scenes", "kyoto", "bay"}).status, 0);
    }
    EXPECT_THAT(found("blue"), UnorderedElementsAre("osaka/lake.jpg", "osaka/coast.jpg", "kyoto/bay.jpg"));
    fs::remove(root() / "state" / "kelvaris.log");
    EXPECT_EQ(found("blue").size(), 3u);
    EXPECT_EQ(lookedAt(), std::pair(false, false)) << "what a search has made is kept";
}

TEST_F(ModelSearchTest, OnePersonIsFoundInTheOtherRollAndStandsInAGroup) {
    portray("kyoto", "portrait", 1, 800);
    paint("kyoto", "meadow", "green", 1.0, "green");
    portray("osaka", "again", 1, 900);
    portray("osaka", "stranger", 3, 800);
    std::ofstream(scan("osaka", "torn").string()) << "no picture";
    installFaceMatch();
    open(false);

    const json faces = answer({"faces", "kyoto", "portrait"});
    EXPECT_THAT(names(faces["matches"]), ElementsAre("osaka/again.jpg", "osaka/stranger.jpg"));
    EXPECT_GT(faces["matches"][0]["similarity"], 0.99);
    EXPECT_EQ(faces["processed"], 4);
    EXPECT_EQ(faces["failed"], 1);
    EXPECT_EQ(answer({"faces", "kyoto", "portrait", "--face", "1"}), faces);
    EXPECT_THAT(run({"faces", "kyoto", "meadow"}).errors, HasSubstr("No faces detected."));

    const Outcome people = run({"people"});
    EXPECT_THAT(people.output, HasSubstr("kyoto/portrait.jpg"));
    EXPECT_THAT(people.output, HasSubstr("osaka/again.jpg"));
    ASSERT_EQ(run({"people", "split", "osaka", "stranger", "1"}).status, 0);
    EXPECT_THAT(names(answer({"people"})[0]["faces"]),
                UnorderedElementsAre("kyoto/portrait.jpg", "osaka/again.jpg"));
}

TEST_F(ModelSearchTest, DeepAnalysisMakesEverythingSearchableAtOnce) {
    paintColors();
    portray("osaka", "portrait", 1, 800);
    installSmartSearch();
    installFaceMatch();
    ASSERT_EQ(run({"prefs", "deepAnalysisEnabled", "true"}).status, 0);
    open(true);
    EXPECT_THAT(found("ice"), Contains("kyoto/bay.jpg")) << "with some white in it";
    EXPECT_EQ(answer({"people"}).size(), 1u);
}

}  // namespace
}  // namespace kelvaris::cli
