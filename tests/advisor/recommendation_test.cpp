#include <gmock/gmock.h>

#include "advisor_fixture.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using Film = FilmRecommendationEntry;
using Camera = CameraRecommendationEntry;
using enum RecommendationSignal::Kind;

/// Everything that the photographer reads, a line an item.
std::vector<std::string> told(const GearRecommendationResult& result) {
    std::vector<std::string> lines;
    for (const auto& section : result.profileSections) lines.push_back(section.title + ": " + section.body);
    for (const auto& each : result.cameras) lines.push_back(each.entry.catalogId + ": " + each.reasoning);
    for (const auto& each : result.films) lines.push_back(each.entry.catalogId + ": " + each.reasoning);
    return lines;
}

RollSnapshot::RollData roll(const char* make, const char* model, const char* film, int iso,
                            std::vector<RollSnapshot::PhotoSnapshot> photos) {
    return {.cameraMake = make,
            .cameraModel = model,
            .filmName = film,
            .filmISO = iso,
            .photos = std::move(photos)};
}

/// One SLR, color film, streets after dark.
RollSnapshot nightWalker() {
    RollSnapshot snapshot;
    for (int i = 0; i < 12; ++i) {
        auto frames = photos(36, 18, {PhotoLabel::street, PhotoLabel::night});
        for (int each = 0; each < 6; ++each) frames[each].labels.insert(PhotoLabel::dark);
        for (auto& frame : frames) frame.dominantColors = std::vector<std::string>{"#304060", "#E0A060"};
        snapshot.rolls.push_back(roll("Canon", "AE-1 Program", i % 2 ? "Gold 200" : "Portra 400",
                                      i % 2 ? 200 : 400, std::move(frames)));
    }
    return snapshot;
}

/// Mountains at golden hour on slides and negatives, often praised, with many rolls behind.
RollSnapshot mountaineer() {
    RollSnapshot snapshot;
    for (int i = 0; i < 24; ++i) {
        auto frames = photos(20, 12, {PhotoLabel::landscape});
        for (auto& frame : frames) {
            frame.nimaScore = 0.7;
            frame.clipLabels = std::vector<std::string>{"golden hour sunlight"};
            frame.dominantColors = std::vector<std::string>{"#E0A060"};
        }
        snapshot.rolls.push_back(
            roll("Nikon", "FM2", i % 2 ? "Velvia 50" : "Ektar 100", i % 2 ? 50 : 100, std::move(frames)));
    }
    return snapshot;
}

/// Friends indoors, black and white, two kinds of camera, one of them square.
RollSnapshot portraitist() {
    auto frames = photos(24, 20, {PhotoLabel::face, PhotoLabel::person});
    for (auto& frame : frames) {
        frame.peopleCount = 1;
        frame.clipLabels = std::vector<std::string>{"shallow depth of field bokeh"};
        frame.placeCategories = std::map<std::string, float>{{"places365_living_room", 0.9f}};
    }
    RollSnapshot snapshot{
        {roll("Leica", "M6", "HP5 Plus", 400, frames), roll("Yashica", "Mat", "Tri-X 400", 400, frames)}};
    snapshot.rolls[1].cameraFormat = FilmFormat::sixBySix;
    return snapshot;
}

std::vector<std::string> advice(const RollSnapshot& snapshot) {
    Advisor advisor;
    return told(advisor.service.recommendations(advisor.profile(snapshot)));
}

TEST(Recommendations, GoldenForSomeoneWhoWalksTheNight) {
    EXPECT_THAT(
        advice(nightWalker()),
        ElementsAre(
            "Your Eye: You come back to street scenes more than to anything else: 50% of your frames. There "
            "is room for the night too. So far that makes 12 rolls and 432 frames.",
            "Your Style: What returns in your frames: cool tones. You tend to expose on the dark side.",
            "Room to Grow: You have not loaded black and white yet. One roll is enough to see light "
            "differently.",
            "konica-auto-s3: After shooting SLRs, a rangefinder is going to feel like a breath of fresh air "
            "— quieter, more compact, and it forces you to really see your frame. Small enough to always "
            "have on you. Fast glass means you can keep shooting when the light drops.",
            "canon-canonet-ql17-g-iii: For the street shooting you're into, the Canonet QL17 G-III is hard "
            "to beat. Small enough to always have on you. Fast glass means you can keep shooting when the "
            "light drops.",
            "rollei-rolleiflex-28f: You've been shooting 35mm exclusively — a 6x6 camera is a whole "
            "different world. Fast glass means you can keep shooting when the light drops. Rollei has a "
            "really distinct feel — worth experiencing.",
            "cinestill-800t: You're still getting a feel for exposure — this film is incredibly forgiving, "
            "so you can be a couple stops off and still get great results. Complements your cool-toned "
            "shooting style. ISO 800 opens up low-light shooting that slower stocks can't handle.",
            "ilford-delta-3200: Going black and white strips everything down to light and shadow — it'll "
            "make you see your subjects differently. Wide latitude means your exposure doesn't have to be "
            "perfect. ISO 3200 opens up low-light shooting that slower stocks can't handle.",
            "kodak-t-max-p3200: For the kind of night shooting you do, you need speed — ISO 3200 gives you "
            "that without a tripod. Wide latitude means your exposure doesn't have to be perfect. ISO 3200 "
            "opens up low-light shooting that slower stocks can't handle."));
}

TEST(Recommendations, GoldenForSomeoneInTheMountains) {
    EXPECT_THAT(
        advice(mountaineer()),
        ElementsAre(
            "Your Eye: You come back to landscapes more than to anything else: 60% of your frames. So far "
            "that makes 24 rolls and 480 frames.",
            "Your Style: What returns in your frames: golden hour and warm tones.",
            "Room to Grow: You have not loaded black and white yet. One roll is enough to see light "
            "differently.",
            "mamiya-7ii: You've been shooting 35mm exclusively — a 6x7 camera is a whole different world. "
            "Mamiya has a really distinct feel — worth experiencing. Your eye for composition is solid — "
            "this won't hold you back.",
            "fujifilm-gw690iii: After shooting SLRs, a rangefinder is going to feel like a breath of fresh "
            "air — quieter, more compact, and it forces you to really see your frame. The jump to medium "
            "format negatives is dramatic. Fujifilm has a really distinct feel — worth experiencing.",
            "fujifilm-gx617: You chase that golden hour light — the GX617 will do it justice. The jump to "
            "medium format negatives is dramatic. Fujifilm has a really distinct feel — worth experiencing.",
            "lomography-redscale-xr: You're clearly chasing golden hour, and Redscale XR eats that light up "
            "— warm tones and fine detail for days. Leans warm like your natural palette. Perfect for the "
            "golden hour light you love.",
            "jch-streetpan-400: Going black and white strips everything down to light and shadow — it'll "
            "make you see your subjects differently. Your eye is solid — this premium stock will elevate "
            "things further. JCH emulsions have a totally different character — worth exploring.",
            "bergger-pancro-400: Bergger emulsions have a totally different character — worth exploring. Two "
            "emulsions, one long and very graceful scale."));
}

TEST(Recommendations, GoldenForSomeoneWithFriends) {
    EXPECT_THAT(
        advice(portraitist()),
        ElementsAre(
            "Your Eye: You come back to people more than to anything else: 83% of your frames. So far that "
            "makes 2 rolls and 48 frames.",
            "Your Style: What returns in your frames: shallow depth of field.",
            "Room to Grow: All of your film has been black and white. A roll of color might surprise you.",
            "rollei-rolleiflex-28f: You clearly love that shallow depth of field look in your portraits — "
            "the Rolleiflex 2.8F delivers it beautifully. The fast lens is perfect for that creamy bokeh "
            "you're after. Rollei has a really distinct feel — worth experiencing.",
            "mamiya-m645-1000s: The fast lens on the M645 1000S is perfect for that creamy bokeh you're "
            "after. Mamiya has a really distinct feel — worth experiencing. Waist-level shooting creates a "
            "different dynamic with subjects.",
            "contax-645: Contax has a really distinct feel — worth experiencing at least once. The fast lens "
            "is perfect for that creamy bokeh you're after. Weddings and window light, with a standard lens "
            "that melts the background away.",
            "kodak-portra-800: You've been shooting exclusively black and white — trying color will open up "
            "a completely different side of your photography. ISO 800 opens up low-light shooting that "
            "slower stocks can't handle. Warm faces long after the sun has gone.",
            "cinestill-50d: For portraits, the way 50D renders skin tones is hard to beat. ISO 50 rewards "
            "you with finer grain and richer detail. CineStill emulsions have a totally different character "
            "— worth exploring.",
            "kodak-portra-400: The safe pair of hands that still manages to look romantic."));
}

TEST(Recommendations, GoldenForSomeoneWhoHasShotNothing) {
    EXPECT_THAT(
        advice({}),
        ElementsAre(
            "canon-ae-1: Canon has a really distinct feel — worth experiencing at least once. A friendly "
            "shutter-priority classic that gets out of your way and lets you shoot.",
            "canon-ae-1-program: Canon has a really distinct feel — worth experiencing at least once. Turn "
            "it to program, and all that is left to think about is the picture.",
            "canon-canonet-ql17-g-iii: Canon has a really distinct feel — worth experiencing at least once. "
            "A bright lens and a whisper of a shutter in a coat-pocket rangefinder.",
            "kodak-ektachrome-e100: You've never shot slide film? Oh, you're in for a treat — holding a "
            "transparency on a light table is magic. ISO 100 rewards you with finer grain and richer detail. "
            "Kodak emulsions have a totally different character — worth exploring.",
            "fujifilm-velvia-50: Slowing down to ISO 50 rewards you with finer grain and richer detail — "
            "worth it for a sunny day. Slide film on a light table is a whole different experience. Fujifilm "
            "emulsions have a totally different character — worth exploring.",
            "fujifilm-velvia-100: If you haven't tried Fujifilm before, their emulsions have a totally "
            "different character — worth exploring. Slide film on a light table is a whole different "
            "experience. ISO 100 rewards you with finer grain and richer detail."));
}

template <class Entry>
Candidate<Entry> candidate(Entry entry, std::string maker = "new", std::string full = "new thing") {
    return {std::move(entry), std::move(maker), "thing", std::move(full)};
}

/// The keys of the film rules that fire.
std::vector<std::string> fired(const ShootingProfile& profile, const Film& film) {
    std::vector<std::string> keys;
    if (const auto item = scored(candidate(film), profile, filmTables())) {
        for (const auto& signal : item->signals) keys.push_back(signalKey(signal));
    }
    return keys;
}

TEST(FilmRules, FireExactlyAtTheirBounds) {
    struct Case {
        const char* what;
        ShootingProfile profile;
        Film film;
        const char* key;
        bool fires;
    };
    const Case cases[] = {
        {"high speed, no ISO used", {}, {.iso = 800}, "isoHigh", true},
        {"below high speed", {}, {.iso = 799}, "isoHigh", false},
        {"already fast", {.usedISOs = {100, 500}}, {.iso = 800}, "isoHigh", false},
        {"low speed", {.usedISOs = {400, 800}}, {.iso = 100}, "isoLow", true},
        {"above low speed", {.usedISOs = {400, 800}}, {.iso = 101}, "isoLow", false},
        {"already slow", {.usedISOs = {399, 800}}, {.iso = 100}, "isoLow", false},
        {"no types known: color", {}, {.iso = 200, .type = "CN"}, "colorExpansion", false},
        {"no types known: black and white",
         {},
         {.iso = 200, .type = "BW", .goodFor = {"beginner"}},
         "bwExpansion",
         false},
        {"no types known: first step",
         {},
         {.iso = 200, .type = "BW", .goodFor = {"beginner"}},
         "easyBW",
         false},
        {"no types known: slides", {}, {.iso = 200, .type = "CR"}, "slideDiscovery", true},
        {"slides known", {.usedFilmTypes = {"CR"}}, {.iso = 200, .type = "CR"}, "slideDiscovery", false},
        {"mixed types", {.usedFilmTypes = {"BW", "CN"}}, {.iso = 200, .type = "BW"}, "bwExpansion", false},
        {"500 photos", {.totalPhotos = 500}, {.iso = 200, .priceTier = "budget"}, "budget", false},
        {"501 photos", {.totalPhotos = 501}, {.iso = 200, .priceTier = "budget"}, "budget", true},
        {"20 rolls", {.totalRolls = 20}, {.iso = 200, .goodFor = {"experimental"}}, "experimental", false},
        {"21 rolls", {.totalRolls = 21}, {.iso = 200, .goodFor = {"experimental"}}, "experimental", true},
        {"gems, not praised",
         {.gemPercent = 0.2, .avgNimaScore = 0.6},
         {.iso = 200, .priceTier = "premium"},
         "aesthetic",
         true},
    };
    for (const Case& each : cases) {
        const auto keys = fired(each.profile, each.film);
        EXPECT_EQ(std::ranges::count(keys, each.key), each.fires ? 1 : 0) << each.what;
    }
}

TEST(FilmRules, PraiseCountsOnceAndMoreThanGems) {
    const auto film = candidate<Film>({.iso = 200, .priceTier = "premium"}, "kodak");
    const auto score = [&](ShootingProfile profile) {
        profile.usedFilmBrands = {"kodak"};
        const auto item = scored(film, profile, filmTables());
        return item ? item->score : 0;
    };
    EXPECT_EQ(score({.gemPercent = 0.5, .avgNimaScore = 0.61}), 2);
    EXPECT_EQ(score({.gemPercent = 0.5}), 1);
    EXPECT_EQ(score({.gemPercent = 0.1}), 0);
}

TEST(CameraRules, NeedOneKnownTypeToMoveOnFrom) {
    const auto rangefinder = candidate<Camera>({.type = "Rangefinder", .format = "35mm"});
    const auto count = [&](std::set<std::string> types) {
        return scored(rangefinder, {.usedCameraTypes = std::move(types)}, cameraTables())->signals.size();
    };
    EXPECT_EQ(count({"SLR"}), 2u);
    EXPECT_EQ(count({"SLR", "TLR"}), 1u);  // the new make alone
}

TEST(CameraRules, AddUp) {
    const ShootingProfile portraits{.facePercent = 0.3, .usedFormats = {"35mm"}, .usedCameraMakes = {"new"}};
    EXPECT_EQ(scored(candidate<Camera>({.format = "6x6"}), portraits, cameraTables())->score, 5);
    EXPECT_EQ(scored(candidate<Camera>({.format = "6x9"}), portraits, cameraTables())->score, 3);
    const auto halfFrame = candidate<Camera>({.type = "Half Frame"});
    EXPECT_EQ(scored(halfFrame, {.totalPhotos = 501}, cameraTables())->score, 5);
    EXPECT_EQ(scored(halfFrame, {.totalPhotos = 500}, cameraTables())->score, 1);
}

TEST(Recommendations, NeverOfferWhatWasUsed) {
    Advisor advisor;
    for (const char* spelling : {"Kodak Portra 400", "PORTRA 400"}) {
        const auto profile =
            advisor.profile({{roll("canon", "ae-1", spelling, 400, photos(4, 4, {PhotoLabel::face}))}});
        for (const auto& each : advisor.service.scoreFilms(profile)) {
            EXPECT_NE(each.entry.catalogId, "kodak-portra-400") << spelling;
        }
        for (const auto& each : advisor.service.scoreCameras(profile)) {
            EXPECT_NE(each.entry.catalogId, "canon-ae-1");
        }
    }
}

TEST(SelectDiverse, SkipsOnlyWhatIsCommonInEveryRespect) {
    using Item = std::pair<std::string, std::string>;
    const auto pick = [](const std::vector<Item>& items, std::size_t limit) {
        std::string picked;
        for (const Item& item : selectDiverse(
                 items, limit, [](const Item& each) { return each.first.substr(0, 1); },
                 [](const Item& each) { return each.second; })) {
            picked += item.first + " ";
        }
        return picked;
    };
    EXPECT_EQ(pick({{"a1", "x"}, {"a2", "y"}, {"a3", "z"}}, 3), "a1 a2 a3 ");
    EXPECT_EQ(pick({{"a1", "x"}, {"a2", "x"}, {"a3", "x"}, {"b4", "x"}}, 3), "a1 a2 b4 ");
    EXPECT_EQ(pick({{"a1", "x"}, {"a2", "x"}, {"a3", "x"}, {"a4", "x"}}, 3), "a1 a2 a3 ");
    EXPECT_EQ(pick({{"a1", "x"}}, 3), "a1 ");
}

/// The texts of items with these signals, told one after the other in one run.
std::vector<std::string> inOneRun(const std::vector<std::vector<RecommendationSignal>>& items,
                                  std::span<const SignalSentence> openers,
                                  std::span<const SignalSentence> secondaryLines) {
    const ShootingProfile profile;
    std::set<std::string> used;
    std::vector<std::string> texts;
    for (const auto& signals : items) {
        texts.push_back(
            buildReasoning(signals, "Vibe.", openers, secondaryLines, {"Name", 50, profile}, used));
    }
    return texts;
}

TEST(Reasoning, OpensTheSecondItemDifferently) {
    EXPECT_THAT(
        inOneRun({{{slideDiscovery}}, {{slideDiscovery}}, {{slideDiscovery}, {isoExpansionLow}}},
                 filmTables().openers, filmTables().secondaryLines),
        ElementsAre("You've never shot slide film? Oh, you're in for a treat — holding a transparency on a "
                    "light table is magic. Vibe.",
                    "Another slide option worth trying alongside your first — each renders color completely "
                    "differently. Vibe.",
                    "Slowing down to ISO 50 rewards you with finer grain and richer detail — worth it for a "
                    "sunny day. Slide film on a light table is a whole different experience. Vibe."));
    EXPECT_THAT(inOneRun({{{forgivingLatitude}}, {{forgivingLatitude}}}, filmTables().openers, {})[1],
                "The wide latitude means your exposure doesn't have to be perfect. Vibe.");
    EXPECT_THAT(
        inOneRun({{{formatExpansion, "6x6", "35mm"}}, {{formatExpansion, "6x7", "35mm"}}},
                 cameraTables().openers, {}),
        ElementsAre("You've been shooting 35mm exclusively — a 6x6 camera is a whole different world. Vibe.",
                    "Stepping up to 6x7 from 35mm gives you negatives with incredible detail. Vibe."));
}

TEST(Reasoning, TellsAtMostThreeSentencesAndNoneTwice) {
    EXPECT_THAT(
        inOneRun({{},
                  {{nightFilm}},
                  {{lowLight}, {fastLens}, {bokehLover}, {indoorShooter}, {exposureHelp}},
                  {{newBrand, "A"}, {lowLight}, {fastLens}}},
                 cameraTables().openers, cameraTables().secondaryLines),
        ElementsAre("Vibe.", "Vibe.",
                    "You shoot a lot in low light, and this camera handles it like a champ. Fast glass means "
                    "you can keep shooting when the light drops. The fast lens is perfect for that creamy "
                    "bokeh you're after.",
                    "A has a really distinct feel — worth experiencing at least once. Fast glass means you "
                    "can keep shooting when the light drops. Vibe."));
}

TEST(Reasoning, HasASentenceForEveryOtherTypeAndSubject) {
    const auto opening = [](RecommendationSignal signal, std::span<const SignalSentence> openers) {
        return inOneRun({{std::move(signal)}}, openers, {})[0];
    };
    EXPECT_EQ(
        opening({typeExpansion, "SLR", "Rangefinder"}, cameraTables().openers),
        "Switching from a Rangefinder to a SLR will totally change how you shoot — in a good way. Vibe.");
    EXPECT_EQ(opening({typeExpansion, "SLR", "Point & Shoot"}, cameraTables().openers),
              "Ready to take the training wheels off? An SLR gives you full manual control and a world of "
              "interchangeable lenses. Vibe.");
    EXPECT_EQ(opening({subjectMatch, "macro"}, cameraTables().openers),
              "The Name fits right into what you like to shoot. Vibe.");
    EXPECT_EQ(opening({subjectMatch, "macro"}, filmTables().openers),
              "Name matches the kind of work you're doing really well. Vibe.");
}

TEST(GearRecommendationService, WorksOnItsQueueAndStampsTheResult) {
    Advisor advisor;
    std::optional<GearRecommendationResult> result;
    advisor.service.generateRecommendations(nightWalker(),
                                            [&](GearRecommendationResult each) { result = each; });
    EXPECT_FALSE(result);
    advisor.queue.runAll();
    ASSERT_TRUE(result);
    EXPECT_EQ(told(*result), advice(nightWalker()));
    EXPECT_EQ(result->generatedAt, advisor.clock.now());
    EXPECT_FALSE(result->aiEnhanced);
    EXPECT_NE(result->cameras[0].id, result->cameras[1].id);
    EXPECT_EQ(VaultGearRecommendations::from(*result).toResult(), *result);
}

}  // namespace
}  // namespace kelvaris
