#include "advisor/foundation_models_reasoning_service.h"

#include <gmock/gmock.h>

#include "log_capture.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using Service = FoundationModelsReasoningService;

GearRecommendationResult templated() {
    GearRecommendationResult result;
    result.profileSections = {{"Your Eye", "eye", "Template."}};
    result.cameras = {
        {"1",
         {.catalogId = "olympus-xa", .make = "Olympus", .model = "XA", .vibe = "Slide it open."},
         "Camera template."}};
    result.films = {{"2",
                     {.catalogId = "ilford-hp5-plus",
                      .brand = "Ilford",
                      .name = "HP5 Plus",
                      .iso = 400,
                      .type = "BW",
                      .vibe = "Asks for more."},
                     "Film template."}};
    return result;
}

/// What becomes of the result when the model answers so to the gear and the profile prompt.
GearRecommendationResult enhanced(Service::Response gear, Service::Response profile) {
    Service service;
    service.responseProvider = [&](const std::string& prompt) {
        return prompt.find("Items to write for") != std::string::npos ? gear : profile;
    };
    return service.enhance(templated(), {});
}

const Service::Response failure = Unexpected(std::string("out of order"));

TEST(ReasoningService, TakesTheTextsOfTheItemsThatItKnows) {
    const auto result = enhanced(
        std::string(
            "```json\n[{\"catalogId\": \"ilford-hp5-plus\", \"reasoning\": \"Written.\", \"mood\": 1},\n"
            "{\"catalogId\": \"nikon-f5\", \"reasoning\": \"Buy this instead.\"},\n"
            "{\"catalogId\": \"olympus-xa\", \"reasoning\": \"  \"}]\n```"),
        failure);
    auto expected = templated();
    expected.films[0].reasoning = "Written.";
    expected.aiEnhanced = true;
    EXPECT_EQ(result, expected);
}

TEST(ReasoningService, TakesProfileSections) {
    const auto result = enhanced(std::string("no JSON"),
                                 std::string(R"([{"title": "Your Eye", "icon": "eye", "body": "Seen."},
                                 {"title": "Your Style", "icon": "paintpalette", "body": " "}])"));
    auto expected = templated();
    expected.profileSections = {{"Your Eye", "eye", "Seen."}};
    expected.aiEnhanced = true;
    EXPECT_EQ(result, expected);
}

TEST(ReasoningService, LeavesTheTemplateWhenTheAnswerIsUnusable) {
    const std::string item = R"({"catalogId": "olympus-xa", "reasoning": "Written."})";
    const std::string section = R"({"title": "Your Eye", "icon": "eye", "body": "Seen."})";
    const std::vector<std::pair<std::string, std::string>> answers{
        {"", ""},
        {"Sure! [" + item + "]", "Sure! [" + section + "]"},
        {"[" + item, "[" + section},                                                         // cut
        {item, section},                                                                     // no array
        {"[" + item + ", {\"catalogId\": \"olympus-xa\"}]", "[{\"title\": \"Your Eye\"}]"},  // wrong shape
        {"[]", "[]"},
        {"[" + item + std::string(Service::responseLimit, ' ') + "]",
         "[" + section + std::string(Service::responseLimit, ' ') + "]"},
        {std::string(50'000, '['), std::string(50'000, '[')},
        {"[\"\xff\"]", "[\"\xff\"]"},
    };
    for (const auto& [gear, profile] : answers)
        EXPECT_EQ(enhanced(gear, profile), templated()) << gear.substr(0, 60);
    testing::LogCapture log;
    EXPECT_EQ(enhanced(failure, failure), templated());
    EXPECT_TRUE(log.contains("out of order"));
}

TEST(ReasoningService, AsksOnlyAModelThatIsThere) {
    struct Model final : LanguageModel {
        bool isAvailable() const override { return available; }
        Result<std::string, std::string> respond(const std::string&, const std::string&,
                                                 const GenerationOptions&) const override {
            ++asked;
            return std::string("[]");
        }
        bool available = false;
        mutable int asked = 0;
    } model;
    const Service service(&model);
    EXPECT_EQ(service.enhance(templated(), {}), templated());
    EXPECT_EQ(model.asked, 0);
    model.available = true;
    EXPECT_EQ(service.enhance(templated(), {}), templated());
    EXPECT_EQ(model.asked, 2);
    EXPECT_EQ(Service().enhance(templated(), {}), templated());
    service.enhance({}, {});  // nothing recommended: the profile alone is asked for
    EXPECT_EQ(model.asked, 3);
}

TEST(StripMarkdownFences, DropsFencesAtBothEnds) {
    EXPECT_EQ(stripMarkdownFences(" \n```json\n[1]\n```\n"), "[1]");
    EXPECT_EQ(stripMarkdownFences("```[1]```"), "[1]");
    EXPECT_EQ(stripMarkdownFences("[1]"), "[1]");
    EXPECT_EQ(stripMarkdownFences("```json"), "");
    EXPECT_EQ(stripMarkdownFences("```"), "");
}

TEST(ProfileDescription, SpeaksOfWhatThereIs) {
    EXPECT_EQ(profileDescription({}), "Versatile — no single dominant subject\nVolume: 0 rolls, 0 frames");

    const ShootingProfile profile{.darkPercent = 0.12,
                                  .blowoutPercent = 0.12,
                                  .personPercent = 0.45,
                                  .landscapePercent = 0.2,
                                  .streetPercent = 0.3,
                                  .foodPercent = 0.15,
                                  .avgNimaScore = 0.7,
                                  .nimaPhotosCount = 11,
                                  .totalRolls = 3,
                                  .totalPhotos = 90,
                                  .usedCameraTypes = {"SLR", "TLR"},
                                  .usedFormats = {"35mm", "6x6"},
                                  .usedFilmTypes = {"CN", "CR"},
                                  .bokehPercent = 0.2,
                                  .warmColorRatio = 0.5};
    EXPECT_EQ(profileDescription(profile),
              "Primary subject: portrait (45% of frames), also street (30%), landscape (20%)\n"
              "Format: shoots 35mm, 6x6\n"
              "Film: color (negative and slide)\n"
              "Style: shallow depth of field, warm tones\n"
              "Color palette: tends warm (ambers, golds, earth tones)\n"
              "Exposure: tends to overexpose (12% blown highlights)\n"
              "Aesthetic quality: strong — consistently good compositions\n"
              "Volume: 3 rolls, 90 frames\n"
              "Camera types used: SLR, TLR");
}

TEST(ProfileDescription, ChoosesBetweenItsLines) {
    const auto line = [](const ShootingProfile& profile) { return profileDescription(profile); };
    EXPECT_THAT(line({.usedFormats = {"35mm"}}), HasSubstr("Format: 35mm only — never tried medium format"));
    EXPECT_THAT(line({.usedFormats = {"6x6"}}), Not(HasSubstr("Format")));
    EXPECT_THAT(line({.usedFilmTypes = {"BW"}}), HasSubstr("Film: black and white only"));
    EXPECT_THAT(line({.usedFilmTypes = {"BW", "CR"}}), HasSubstr("Film: shoots both color and B&W"));
    EXPECT_THAT(line({.usedFilmTypes = {"SP"}}), HasSubstr("Film: color negative only, never tried slide"));
    EXPECT_THAT(line({.coolColorRatio = 0.41}),
                HasSubstr("Color palette: tends cool (blues, greens, grays)"));
    EXPECT_THAT(line({.warmColorRatio = 0.45, .coolColorRatio = 0.45}), Not(HasSubstr("Color palette")));
    EXPECT_THAT(line({.darkPercent = 0.2, .blowoutPercent = 0.05}),
                HasSubstr("Exposure: tends to underexpose (20% of frames dark)"));
    EXPECT_THAT(line({.darkPercent = 0.1, .blowoutPercent = 0.1}), Not(HasSubstr("Exposure")));
    EXPECT_THAT(line({.avgNimaScore = 0.9, .nimaPhotosCount = 10}), Not(HasSubstr("Aesthetic")));
}

TEST(Prompts, HoldTheDescriptionAndTheItems) {
    const auto result = templated();
    const std::string gear = buildGearPrompt("DESCRIPTION", result.cameras, result.films);
    EXPECT_TRUE(
        gear.starts_with("You write gear recommendations for Kelvaris, an analog film photography app.\n\n"));
    EXPECT_THAT(gear, HasSubstr("Photographer:\nDESCRIPTION\n\nItems to write for:\n"
                                "- catalogId: olympus-xa\n  Olympus XA\n  vibe: Slide it open.\n"
                                "- catalogId: ilford-hp5-plus\n  Ilford HP5 Plus, ISO 400 (Black & White)\n"
                                "  vibe: Asks for more.\n\nRespond with ONLY a JSON array."));
    EXPECT_TRUE(gear.ends_with("[{\"catalogId\": \"...\", \"reasoning\": \"...\"}, ...]"));

    const std::string plain = buildProfilePrompt("DESCRIPTION", {});
    EXPECT_THAT(
        plain, HasSubstr("Photographer:\nDESCRIPTION\n\nSections to write:\n\"Your Eye\" (icon: \"eye\"): "));
    EXPECT_THAT(plain, Not(HasSubstr("\"Your Style\"")));
    EXPECT_THAT(plain, HasSubstr("Never condescending.\n\nRespond with ONLY a JSON array."));
    EXPECT_THAT(buildProfilePrompt("", {.bokehPercent = 0.3}),
                HasSubstr("\"Your Style\" (icon: \"paintpalette\")"));
}

}  // namespace
}  // namespace kelvaris
