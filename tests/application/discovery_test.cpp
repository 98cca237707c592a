#include "application/discovery.h"

#include <gtest/gtest.h>

#include "app_world.h"
#include "fake_embedding_models.h"
#include "platform_fake/fake_word_similarity.h"

namespace kelvaris {
namespace {

class DiscoveryTest : public ::testing::Test, public testing::AppWorld {
protected:
    /// Does everything but walk through pictures.
    void settleWithoutWalks() {
        for (bool hasWorked = true; hasWorked;) {
            machine.main.drain();
            hasWorked = machine.queues.queue("com.kelvaris.discovery")->runNext();
        }
    }

    testing::FakeImageEmbedder images;
    testing::FakeFaceFinder faces;
    FakeWordSimilarity words;
};

TEST_F(DiscoveryTest, SearchesForWordsDoNotWaitForASearchThatReadsEveryPicture) {
    const RollPointer roll = openedRoll("kyoto");
    Discovery discovery(app(), machine.language, &words, {.images = &images, .faces = &faces}, machine.queues,
                        machine.main);
    roll->setNotes("dog");
    roll->photos()[0]->setClipEmbedding(std::vector{1.0F, 0.0F});
    discovery.sceneSearch().findSimilarScenes(roll->photos()[0], [](std::string_view) {});
    discovery.faceSearch().findSimilarFaces(roll->photos()[0], std::nullopt);
    discovery.faceGroups().refresh();

    discovery.rollListSearch().performSearch("dog");
    settleWithoutWalks();
    EXPECT_FALSE(discovery.rollListSearch().isSearching());
    EXPECT_EQ(discovery.rollListSearch().rollMatchCounts().at(roll->id()), 3);
    discovery.similarPhotos().findSimilarPhotos(roll->photos()[0]);
    settleWithoutWalks();
    EXPECT_FALSE(discovery.similarPhotos().isSearching());
    EXPECT_EQ(discovery.sceneSearch().sceneSearchResult(), std::nullopt);
    // A new search must find room beside walks that go on for hours.
    EXPECT_GT(machine.queues.queue("com.kelvaris.discovery.walks")->width(), 3);
}

TEST_F(DiscoveryTest, OnlyAScreenHasThumbnailsLoadedOfWhatASearchFinds) {
    for (const StartMode mode : {StartMode::commands, StartMode::screen}) {
        const RollPointer roll = openedRoll(mode == StartMode::screen ? "kyoto" : "osaka", 2);
        app().start(mode);
        machine.settle();
        const RollPointer live = rollNamed(roll->name());
        live->setNotes("dog");
        pipeline().sidebarLoads = 0;
        Discovery discovery(app(), machine.language, nullptr, {.images = &images}, machine.queues,
                            machine.main);
        discovery.rollListSearch().performSearch("dog");
        machine.settle();
        EXPECT_EQ(pipeline().sidebarLoads == 0, mode == StartMode::commands);
    }
}

}  // namespace
}  // namespace kelvaris
