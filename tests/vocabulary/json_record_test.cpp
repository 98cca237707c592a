#include "vocabulary/json_record.h"

#include <gmock/gmock.h>

#include "vocabulary/gear_recommendations.h"

namespace kelvaris {
namespace {

VaultGearRecommendations stored() {
    CameraRecommendation camera{.id = "5B0B7A36-6C3C-4B36-8E31-3C1F1D0A8F11",
                                .entry = {.catalogId = "olympus-xa",
                                          .make = "Olympus",
                                          .model = "XA",
                                          .type = "Rangefinder",
                                          .format = "35mm",
                                          .priceTier = "mid",
                                          .weightClass = "compact",
                                          .goodFor = {"street", "travel"},
                                          .features = {},
                                          .vibe = "Slide it open."},
                                .reasoning = "Small — and \"quiet\"."};
    GearRecommendationResult result{.profileSections = {{"Your Eye", "eye", "Streets."}},
                                    .cameras = {camera},
                                    .films = {},
                                    .generatedAt = Instant::fromSeconds(1773475200.5),
                                    .aiEnhanced = true};
    return VaultGearRecommendations::from(result);
}

TEST(JsonRecord, RoundTripsARecordWithNestedOnes) {
    const auto record = stored();
    const std::string text = encodedJson(record).dump();
    EXPECT_THAT(text, testing::Not(testing::HasSubstr("profileSummary")));
    EXPECT_EQ(decodedJson<VaultGearRecommendations>(text), record);
}

TEST(JsonRecord, RefusesWhatIsMissingMistypedOrBroken) {
    const auto decodes = [](const nlohmann::ordered_json& json) {
        return decodedJson<VaultGearRecommendations>(json.dump()).has_value();
    };
    auto json = encodedJson(stored());
    json["unknown"] = {1, 2};
    json["profileSummary"] = nullptr;
    EXPECT_TRUE(decodes(json));

    auto missing = json;
    missing["cameras"][0]["entry"].erase("vibe");
    EXPECT_FALSE(decodes(missing));
    auto mistyped = json;
    mistyped["aiEnhanced"] = "yes";
    EXPECT_FALSE(decodes(mistyped));
    auto noDate = json;
    noDate["generatedAt"] = "soon";
    EXPECT_FALSE(decodes(noDate));
    EXPECT_FALSE(decodedJson<VaultGearRecommendations>("[]"));
    EXPECT_FALSE(decodedJson<VaultGearRecommendations>(json.dump().substr(0, 200)));
    EXPECT_FALSE(decodedJson<std::string>("\"\xff\""));
    EXPECT_FALSE(decodedJson<std::vector<int>>("[1, 5000000000]"));
}

TEST(VaultGearRecommendations, ReadsTheOlderSummaryAsOneSection) {
    const auto older = decodedJson<VaultGearRecommendations>(
        R"({"profileSummary": "Night streets.", "cameras": [], "films": [],
            "generatedAt": "2024-05-01T10:00:00Z"})");
    ASSERT_TRUE(older);
    const GearRecommendationResult result = older->toResult();
    EXPECT_THAT(result.profileSections,
                testing::ElementsAre(CodableProfileSection{"Your Eye", "eye", "Night streets."}));
    EXPECT_FALSE(result.aiEnhanced);
    EXPECT_EQ(VaultGearRecommendations::from(stored().toResult()), stored());
}

}  // namespace
}  // namespace kelvaris
