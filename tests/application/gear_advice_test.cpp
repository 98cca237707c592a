#include "application/gear_advice.h"

#include <gmock/gmock.h>

#include "app_world.h"
#include "log_capture.h"

namespace kelvaris {
namespace {

class GearAdviceTest : public ::testing::Test {
protected:
    GearAdviceTest() {
        world.machine.files.addFile(Path("/r/film-recommendations.json"), R"([{"catalogId": "kodak-gold-200",
            "brand": "Kodak", "name": "Gold 200", "iso": 200, "type": "CN", "priceTier": "budget",
            "grain": "medium", "palette": "warm", "latitude": "forgiving", "goodFor": ["travel"], "vibe": "Sun."}])");
    }

    testing::AppWorld world;
    std::unique_ptr<OperationQueue> queue = world.machine.queues.makeQueue("advice", 1);
};

TEST_F(GearAdviceTest, KeepsItsResultBesideThePreferences) {
    world.app().preferences().setArtistName("Ada");
    world.app().preferences().syncToVault();
    const CatalogService catalog(world.machine.files, Path("/r"), world.machine.language);
    const GearRecommendationService service(catalog, world.machine.language, world.machine.clock.wall(),
                                            *queue);
    world.openedRoll("kyoto");
    GearAdvice advice(service, world.program->vault, world.machine.main);
    advice.readStored();
    EXPECT_FALSE(advice.gearRecommendationResult());

    int completions = 0;
    EXPECT_TRUE(advice.generate(world.app().rolls(), [&] { ++completions; }));
    EXPECT_TRUE(advice.isGeneratingGearRecommendations());
    EXPECT_FALSE(advice.generate(world.app().rolls(), [&] { ++completions; }));
    world.machine.settle();
    EXPECT_EQ(completions, 1);
    EXPECT_FALSE(advice.isGeneratingGearRecommendations());
    ASSERT_TRUE(advice.gearRecommendationResult());
    ASSERT_EQ(advice.gearRecommendationResult()->films.size(), 1u);
    EXPECT_EQ(advice.gearRecommendationResult()->films[0].entry.catalogId, "kodak-gold-200");

    GearAdvice later(service, world.program->vault, world.machine.main);
    later.readStored();
    EXPECT_EQ(later.gearRecommendationResult(), advice.gearRecommendationResult());
    EXPECT_EQ(world.program->vault.load()->artistName, "Ada");
    world.app().preferences().syncToVault();
    EXPECT_TRUE(world.program->vault.load()->gearRecommendations) << "a later sync keeps them";
}

TEST_F(GearAdviceTest, MayEndBeforeItsAnswerComes) {
    const CatalogService catalog(world.machine.files, Path("/r"), world.machine.language);
    const GearRecommendationService service(catalog, world.machine.language, world.machine.clock.wall(),
                                            *queue);
    bool completed = false;
    {
        GearAdvice advice(service, world.program->vault, world.machine.main);
        advice.generate({}, [&] { completed = true; });
    }
    world.machine.settle();
    EXPECT_FALSE(completed);
}

}  // namespace
}  // namespace kelvaris
