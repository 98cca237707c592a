#include <gmock/gmock.h>

#include "discovery/roll_list_search.h"
#include "discovery/strip_search.h"
#include "discovery_world.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

std::vector<std::string> names(const PhotoList& photos) {
    std::vector<std::string> all;
    for (const auto& photo : photos) all.push_back(photo->filename());
    return all;
}

class SearchFieldsTest : public ::testing::Test, public testing::DiscoveryWorld {
protected:
    SearchEnvironment environment() {
        return {.main = machine.main,
                .queue = *queue,
                .language = machine.language,
                .words = &words,
                .textEmbedder = useModel ? &textEmbedder : nullptr,
                .filler = &filler,
                .scheduleSave = [this](FilmRoll& roll) { scheduleSave(roll); }};
    }

    FakeWordSimilarity words;
    testing::FakeTextEmbedder textEmbedder;
    testing::FakeImageEmbedder imageEmbedder;
    ClipEmbeddingFiller filler{imageEmbedder, *queue, machine.main};
    bool useModel = false;
};

TEST_F(SearchFieldsTest, TheStripSearchesOnceTypingRestsAndSelectsWhatItShows) {
    imageEmbedder.enabled = false;
    const auto roll = addRoll("a", 3);
    roll->photos()[1]->setLabels({PhotoLabel::animal});
    roll->setSelectedPhoto(roll->photos()[0]);
    StripSearch strip(environment());
    strip.setRoll(roll);
    EXPECT_EQ(strip.displayedPhotos(), roll->photos());
    for (const char* text : {"d", "do", "dog"}) {
        strip.setSearchText(text);
        machine.advance(49ms);
    }
    EXPECT_EQ(strip.displayedPhotos(), roll->photos());
    machine.advance(1ms);
    EXPECT_THAT(names(strip.displayedPhotos()), ElementsAre("a-2.jpg"));
    EXPECT_EQ(roll->selectedPhoto(), roll->photos()[1]);
    roll->photos()[2]->setPlaceName("Dogtown");  // known by the next search, like everything that changes
    strip.recomputeDisplayedPhotos();
    EXPECT_THAT(names(strip.displayedPhotos()), ElementsAre("a-2.jpg", "a-3.jpg"));
    strip.setSearchText("zzz");
    machine.advance(50ms);
    EXPECT_THAT(strip.displayedPhotos(), IsEmpty());
    EXPECT_EQ(roll->selectedPhoto(), nullptr);
    strip.setSearchText("");
    EXPECT_EQ(strip.displayedPhotos(), roll->photos()) << "an empty text waits for nothing";

    roll->photos()[2]->setOrientationDecision([] {
        OrientationDecision decision;
        decision.status = OrientationDecision::Status::uncertain;
        return decision;
    }());
    strip.setRotationReviewOnly(true);
    EXPECT_THAT(names(strip.displayedPhotos()), ElementsAre("a-3.jpg"));
}

TEST_F(SearchFieldsTest, TheStripAsksTheTextModelOnAWorkerAndDropsAnAnswerThatCameTooLate) {
    useModel = true;
    const auto roll = addRoll("a", 2);
    roll->photos()[0]->setClipEmbedding(std::vector{0.3F, 0.9F});
    roll->photos()[1]->setClipEmbedding(std::vector{0.4F, 0.9F});
    StripSearch strip(environment());
    strip.setRoll(roll);
    strip.setSearchText("boat");
    machine.clock.advance(machine.main, 50ms);
    EXPECT_EQ(strip.displayedPhotos(), roll->photos()) << "the model has not answered";
    machine.queues.runAll();
    strip.setSearchText("");
    machine.settle();
    EXPECT_EQ(strip.displayedPhotos(), roll->photos());
    strip.setSearchText("boat");
    machine.advance(50ms);
    EXPECT_THAT(names(strip.displayedPhotos()), ElementsAre("a-2.jpg", "a-1.jpg"));
    const auto asked = textEmbedder.asked.size();
    strip.setOrder(SearchOrder::keywordFirst);
    machine.settle();
    EXPECT_EQ(textEmbedder.asked.size(), asked) << "the vector of the query is known";
}

TEST_F(SearchFieldsTest, ARollThatChangesAllTheTimeDoesNotHoldUpAQueryThatWaitsForTheModel) {
    useModel = true;
    const auto roll = addRoll("a", 2);
    roll->photos()[1]->setClipEmbedding(std::vector{0.4F, 0.9F});
    roll->setSelectedPhoto(roll->photos()[0]);
    StripSearch strip(environment());
    strip.setRoll(roll, "boat");
    machine.clock.advance(machine.main, 50ms);
    EXPECT_EQ(strip.debouncedSearchText(), "boat");
    for (int i = 0; i < 5; ++i) strip.recomputeDisplayedPhotos();
    machine.settle();
    EXPECT_EQ(textEmbedder.asked.size(), 1U);
    EXPECT_THAT(names(strip.displayedPhotos()), ElementsAre("a-2.jpg"));
    EXPECT_EQ(roll->selectedPhoto(), roll->photos()[1]);
}

TEST_F(SearchFieldsTest, ASearchHasMissingVectorsMadeForPhotosThatStayAsTheyAre) {
    const auto roll = addRoll("a", 4);
    imageEmbedder.vectors = {{"a-1.jpg", {1.0F}}, {"a-2.jpg", {1.0F}}, {"a-3.jpg", {1.0F}}};
    roll->photos()[2]->setClipEmbedding(std::vector{0.5F});
    filler.ensureCLIPEmbeddings(roll->photos());
    filler.ensureCLIPEmbeddings(roll->photos());
    machine.queues.runAll();
    roll->photos()[1]->setRotation(RotationAngle::clockwise90);
    machine.settle();
    EXPECT_THAT(imageEmbedder.asked, ElementsAre("a-1.jpg", "a-2.jpg", "a-4.jpg")) << "each once";
    EXPECT_TRUE(roll->photos()[0]->clipEmbedding());
    EXPECT_FALSE(roll->photos()[1]->clipEmbedding()) << "turned meanwhile";
    EXPECT_EQ(roll->photos()[2]->clipEmbedding()->front(), 0.5F);
    filler.ensureCLIPEmbeddings(roll->photos());
    machine.settle();
    EXPECT_TRUE(roll->photos()[1]->clipEmbedding());
    {
        ClipEmbeddingFiller gone(imageEmbedder, *queue, machine.main);
        gone.ensureCLIPEmbeddings(roll->photos());
    }
    imageEmbedder.asked.clear();
    machine.settle();
    EXPECT_THAT(imageEmbedder.asked, IsEmpty());
}

TEST_F(SearchFieldsTest, TheRollListCountsTheMatchesOfEveryRoll) {
    imageEmbedder.enabled = false;
    const auto a = addRoll("a", 3), b = addRoll("b", 2), c = addRoll("c", 2);
    a->photos()[0]->setLabels({PhotoLabel::animal});
    a->photos()[2]->setLabels({PhotoLabel::animal, PhotoLabel::blur});
    a->setHideFlagged(true);
    c->setNotes("my dog");
    RollListSearch list(*this, environment());
    list.setSearchText("dog");
    machine.clock.advance(machine.main, 149ms);
    EXPECT_FALSE(list.isSearching());
    machine.clock.advance(machine.main, 1ms);
    EXPECT_TRUE(list.isSearching());
    machine.settle();
    EXPECT_FALSE(list.isSearching());
    EXPECT_EQ(list.rollMatchCounts(), (std::unordered_map<RollID, int>{{a->id(), 1}, {c->id(), 2}}));
    EXPECT_THAT(names(list.rollMatchPhotos().at(c->id())), ElementsAre("c-1.jpg", "c-2.jpg"));
    EXPECT_THAT(thumbnailsOf, UnorderedElementsAre("a-1.jpg", "c-1.jpg", "c-2.jpg"));
    list.setSearchText("");
    EXPECT_THAT(list.rollMatchCounts(), IsEmpty());
}

TEST_F(SearchFieldsTest, TheRollListMayBeClearedOrSearchedAnewAtEveryMoment) {
    useModel = true;
    imageEmbedder.vectors = {{"a-1.jpg", {1.0F, 0.0F}}};
    const auto a = addRoll("a", 1), b = addRoll("b", 1);
    b->setNotes("dog");
    RollListSearch list(*this, environment());
    for (int moment = 0; moment < 7; ++moment) {
        list.performSearch("boat");
        for (int i = 0; i < moment; ++i) step();
        list.setSearchText("x");
        list.setSearchText("");
        machine.settle();
        EXPECT_THAT(list.rollMatchCounts(), IsEmpty()) << moment;
        EXPECT_FALSE(list.isSearching()) << moment;

        list.performSearch("boat");
        for (int i = 0; i < moment; ++i) step();
        b->photos()[0]->setClipEmbedding(std::nullopt);
        list.performSearch("dog");
        machine.settle();
        EXPECT_TRUE(list.rollMatchCounts().contains(b->id())) << moment;
        EXPECT_FALSE(list.isSearching()) << moment;
        a->photos()[0]->setClipEmbedding(std::nullopt);
    }
    EXPECT_TRUE(saved.contains(a->id())) << "vectors made late are saved with their roll";
}

TEST_F(SearchFieldsTest, OldAnswersOfTheRollListChangeNothingAndVanishedPhotosAreLeftOut) {
    imageEmbedder.enabled = false;
    const auto a = addRoll("a", 2), b = addRoll("b", 1);
    a->setNotes("dog");
    b->setNotes("dog");
    auto list = std::make_unique<RollListSearch>(*this, environment());
    list->performSearch("dog");
    machine.queues.runAll();
    list->performSearch("zzz");  // before the first answer is taken
    machine.settle();
    EXPECT_THAT(list->rollMatchCounts(), IsEmpty());

    list->performSearch("dog");
    machine.queues.runAll();
    a->setPhotos({a->photos()[1]});
    all.erase(all.begin() + 1);
    machine.settle();
    ASSERT_EQ(list->rollMatchCounts().size(), 1U);
    EXPECT_THAT(names(list->rollMatchPhotos().at(a->id())), ElementsAre("a-2.jpg"));

    list->performSearch("dog");
    machine.queues.runAll();
    list.reset();
    machine.settle();
}

TEST_F(SearchFieldsTest, ManyMatchesComeInFewMessages) {
    imageEmbedder.enabled = false;
    for (int i = 0; i < 400; ++i) {
        const auto roll = addRoll("r", 50);
        roll->setNotes("dog");
    }
    RollListSearch list(*this, environment());
    int messages = 0;
    const auto subscription = list.observe(
        [&](RollListSearchField field) { messages += field == RollListSearchField::rollMatches ? 1 : 0; });
    list.performSearch("dog");
    machine.settle();
    EXPECT_EQ(list.rollMatchCounts().size(), 400U);
    EXPECT_EQ(thumbnailsOf.size(), RollListSearch::thumbnailLimit) << "not a whole library of pictures";
    EXPECT_LE(messages, 5);
}

}  // namespace
}  // namespace kelvaris
