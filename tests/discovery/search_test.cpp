#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <set>

#include "base/text.h"
#include "base/vector_math.h"
#include "discovery/search_service.h"
#include "discovery/search_vocabulary.h"
#include "discovery_world.h"
#include "log_capture.h"
#include "platform_fake/fake_language.h"
#include "platform_fake/fake_word_similarity.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using ::testing::FloatEq;
using ::testing::IsEmpty;

std::vector<float> vectorOf(float cosine) { return {cosine, std::sqrt(1.0F - cosine * cosine)}; }

class SearchTest : public ::testing::Test {
protected:
    float score(std::string_view query, SearchablePhoto photo, RollContext context = {}) {
        const auto results =
            service().search(query, {RollID::random(), std::move(context), {std::move(photo)}});
        return results.empty() ? 0.0F : results[0].score;
    }
    SearchService service() { return {language, &words, embedder}; }

    FakeLanguage language;
    FakeWordSimilarity words;
    testing::FakeTextEmbedder fakeEmbedder;
    TextEmbedder* embedder = nullptr;
};

SearchablePhoto withColors(std::vector<std::string> colors) { return {.dominantColors = std::move(colors)}; }

TEST_F(SearchTest, ColoursMatchByHueAtTheirRankAndNeutralsByBrightness) {
    struct {
        std::string query;
        std::vector<std::string> colors;
        float color;
    } const cases[] = {
        {"warm", {"#ff8000"}, 1.0F},
        {"warm", {"#0000ff", "#00ff00", "#ff8000"}, 0.5F},
        {"warm", {"broken", "", "#FF8000"}, 0.5F},
        {"blue", {"1", "2", "3", "4", "5", "6", "7", "0000FF"}, 0.2F},
        {"orange", {"#c89600"}, 1.0F},  // hue 45 belongs to both
        {"yellow", {"#c89600"}, 1.0F},
        {"red", {"#c83200"}, 1.0F},  // and so does 15
        {"orange", {"#c83200"}, 1.0F},
        {"red", {"#ff0080"}, 0.0F},  // 329.9, where the range of red begins at 330
        {"purple", {"#ff0080"}, 1.0F},
        {"red", {"#808080"}, 0.0F},
        {"gray", {"#808080"}, 1.0F},
        {"grey", {"#808082"}, 1.0F},
        {"blue", {"#808082"}, 0.0F},
        {"blue", {"#808083"}, 1.0F},
        {"black", {"#3F3F3F"}, 1.0F},
        {"black", {"#414141"}, 0.0F},
        {"gray", {"#414141"}, 1.0F},
        {"white", {"#C4C4C4"}, 1.0F},
        {"white", {"#C3C3C3"}, 0.0F},
        {"gray", {"#C3C3C3"}, 1.0F},
        {"monochrome", {"#1d0000"}, 1.0F},
        {"monochrome", {"#1e0000"}, 0.0F},
        {"green", {"#12345", "#0xff00", "#-1ff00", "##00ff00"}, 0.0F},
    };
    for (const auto& each : cases) {
        EXPECT_THAT(score(each.query, withColors(each.colors)), FloatEq(each.color * 0.20F))
            << each.query << " " << each.colors[0];
    }
}

TEST_F(SearchTest, WordsHitTagsLabelsPlacesAndTheRollByTheirLetters) {
    struct {
        std::string query;
        SearchablePhoto photo;
        RollContext context;
        float score;
    } const cases[] = {
        {"dogs", {.labels = {PhotoLabel::animal}}, {}, 0.30F},
        {"leak", {.labels = {PhotoLabel::artifact}}, {}, 0.30F},
        {"art", {.labels = {PhotoLabel::artifact}}, {}, 0.30F},
        {"DOG", {.visionTags = TagConfidences{{"Guide_Dog", 0.5F}}}, {}, 0.15F},
        {"guide dog", {.visionTags = TagConfidences{{"guide_dog", 0.5F}}}, {}, 0.30F},
        {"dogsled", {.visionTags = TagConfidences{{"dog", 0.5F}}}, {}, 0.15F},
        {"japan", {.placeName = "Kyoto, Japan"}, {}, 0.20F},
        {"asia", {.placeName = "Kyoto, Japan"}, {}, 0.14F},
        {"asia", {.placeName = "Lyon, France"}, {}, 0.0F},
        {"nikon", {}, {.cameraMake = "Nikon"}, 0.20F},
        {"nikonfm2", {}, {.cameraMake = "Nikon"}, 0.20F},
        {"400", {}, {.filmISO = 400}, 0.20F},
        {"xyz", {}, {.cameraMake = "Nikon"}, 0.0F},
        {"( [ .* \\", {.visionTags = TagConfidences{{"dog", 1.0F}}, .placeName = "Kyoto"}, {}, 0.0F},
    };
    for (const auto& each : cases) {
        EXPECT_THAT(score(each.query, each.photo, each.context), FloatEq(each.score)) << each.query;
    }
}

TEST_F(SearchTest, MeaningCountsFromATenthUpwardsAndHasNoUpperBound) {
    const SearchablePhoto tagged{.visionTags = TagConfidences{{"guide_puppy", 0.5F}}};
    words.set("hound", "puppy", 1.0 - 0.3 * 0.8);
    EXPECT_THAT(score("hound", tagged), FloatEq(0.5F * 0.8F * 0.30F));
    words.set("hound", "guide", 0.1);
    EXPECT_THAT(score("hound", tagged), FloatEq(0.5F * 3.0F * 0.30F)) << "the best part counts";
    words.set("hound", "animal", 1.0 - 0.3 * 0.5);
    EXPECT_THAT(score("hound", {.labels = {PhotoLabel::animal}}), FloatEq(0.5F * 0.30F));
    for (const double distance : {0.98, 1.0, 1.7, std::nan(""), HUGE_VAL}) {
        words.distances.clear();
        words.set("hound", "puppy", distance);
        EXPECT_EQ(score("hound", tagged), 0.0F) << distance;
    }
    words.set("hound", "animal", -1.0);
    EXPECT_THAT(score("hound scenery", {.labels = {PhotoLabel::animal, PhotoLabel::landscape}}),
                FloatEq(0.30F))
        << "a direct hit holds the label's part at 1";
}

TEST_F(SearchTest, TheBlendChoosesItsWeightsByWhatThereIs) {
    embedder = &fakeEmbedder;
    SearchablePhoto photo{.clipEmbedding = vectorOf(0.26F),
                          .visionTags = TagConfidences{{"red_barn", 0.5F}},
                          .labels = {PhotoLabel::architecture},
                          .placeName = "Redmond",
                          .dominantColors = std::vector<std::string>{"#ff0000"}};
    const RollContext context{.notes = "red barns"};
    EXPECT_THAT(score("red barn", photo, context),
                ::testing::FloatNear(0.5F * 0.35F + 0.15F + 0.13F + 1.0F * 0.13F + 0.14F + 0.10F, 1e-6));
    EXPECT_EQ(fakeEmbedder.asked.back(), "red barn");
    photo.dominantColors.reset();
    EXPECT_THAT(score("Red Barn", photo, context),
                ::testing::FloatNear(0.5F * 0.45F + 0.15F + 1.0F * 0.15F + 0.15F + 0.10F, 1e-6));
    EXPECT_EQ(fakeEmbedder.asked.back(), "Red Barn") << "the encoder gets what was typed";
    photo.clipEmbedding = vectorOf(0.12F);
    EXPECT_THAT(score("red barn", photo, context),
                ::testing::FloatNear(0.30F + 1.0F * 0.30F + 0.20F + 0.20F, 1e-6))
        << "no CLIP match at all";
    for (const auto& hostile : {std::vector<float>{}, {1.0F}, {NAN, NAN}, {0.0F, 0.0F}, {INFINITY, 0.0F}}) {
        photo.clipEmbedding = hostile;
        EXPECT_THAT(score("red barn", photo, context), ::testing::FloatNear(1.0F, 1e-6));
    }
}

TEST_F(SearchTest, WithoutAWorkingTextEncoderTheRestOfTheSearchGoesOn) {
    embedder = &fakeEmbedder;
    fakeEmbedder.answer = Unexpected(std::string("no session"));
    testing::LogCapture logs;
    const SearchablePhoto photo{.clipEmbedding = vectorOf(1.0F), .labels = {PhotoLabel::animal}};
    EXPECT_THAT(score("dog", photo), FloatEq(0.30F));
    EXPECT_THAT(logs.errors(), ElementsAre("CLIP text embedding failed for 'dog': no session"));
    EXPECT_TRUE(logs.contains("Search 'dog': CLIP text=false, embeddings=1/1"));
}

TEST_F(SearchTest, HostileQueriesEndAndFindNothing) {
    embedder = &fakeEmbedder;
    const SearchablePhoto photo{.clipEmbedding = vectorOf(1.0F), .labels = {PhotoLabel::animal}};
    for (const std::string& blank : {std::string(), std::string("   "), std::string(1 << 20, ' ')}) {
        EXPECT_EQ(score(blank, photo), 0.0F);
    }
    EXPECT_THAT(fakeEmbedder.asked, IsEmpty());
    testing::LogCapture logs;
    fakeEmbedder.answer = Unexpected(std::string("too long"));
    EXPECT_GT(score("dog " + std::string(1 << 20, 'z'), photo), 0.0F);
    EXPECT_LT(logs.errors().at(0).size(), 1100U) << "a log is no place for a pasted document";
    embedder = nullptr;
    const SearchablePhoto tagged{.visionTags = TagConfidences{{"dog", 1.0F}}};
    EXPECT_EQ(score(std::string("\t\n\x01\x7f"), tagged), 0.0F);
    EXPECT_THAT(score("dog " + std::string(1 << 20, 'z'), tagged), FloatEq(0.30F));
    std::string umlauts;
    while (umlauts.size() < (1 << 20)) umlauts += "ä";
    EXPECT_EQ(score(umlauts, tagged), 0.0F);
    EXPECT_TRUE(isValidUtf8(SearchQuery::from("x" + umlauts, language).words.back()));
}

TEST_F(SearchTest, EqualScoresKeepTheirOrderAndKeywordsMayGoFirst) {
    embedder = &fakeEmbedder;
    SearchableRoll roll{.id = RollID::random(), .context = {}, .photos = {}};
    const auto add = [&](SearchablePhoto photo) {
        photo.id = PhotoID::random();
        roll.photos.push_back(photo);
        return photo.id;
    };
    const auto liked = add({.clipEmbedding = vectorOf(0.4F)});
    const auto part = add({.visionTags = TagConfidences{{"hotdog", 0.6F}}});
    const auto first = add({.labels = {PhotoLabel::animal}});
    const auto second = add({.labels = {PhotoLabel::animal}});
    const auto ids = [](const std::vector<SearchResult>& results) {
        std::vector<PhotoID> all;
        for (const auto& result : results) all.push_back(result.photo);
        return all;
    };
    EXPECT_THAT(ids(service().search("dog", roll)), ElementsAre(liked, first, second, part));
    EXPECT_THAT(ids(service().search("dog", roll, SearchOrder::keywordFirst)),
                ElementsAre(first, second, liked, part));
}

// --- The fast pass against the plain one

/// The stated scores, photo by photo and text by text.
class PlainSearch {
public:
    PlainSearch(const Language& language, const WordSimilarity& words) : language_(language), words_(words) {}

    float score(const std::string& typed, const std::vector<float>& text, const SearchablePhoto& photo,
                const RollContext& context) const {
        std::vector<std::string> query;
        for (const auto& word : split(language_.lowercased(typed), ' ')) {
            if (!word.empty()) query.push_back(word);
        }
        const float clip =
            !text.empty() && photo.clipEmbedding
                ? std::clamp((cosineSimilarity(text, *photo.clipEmbedding) - 0.12F) / 0.28F, 0.0F, 1.0F)
                : 0.0F;
        const float color = colors(query, photo), label = labels(query, photo), tag = tags(query, photo);
        const float place = location(query, photo), roll = metadata(query, context);
        if (clip > 0 && color > 0) {
            return clip * 0.35F + color * 0.15F + label * 0.13F + tag * 0.13F + place * 0.14F + roll * 0.10F;
        }
        if (clip > 0) return clip * 0.45F + label * 0.15F + tag * 0.15F + place * 0.15F + roll * 0.10F;
        if (color > 0) return color * 0.20F + label * 0.25F + tag * 0.25F + place * 0.15F + roll * 0.15F;
        return label * 0.30F + tag * 0.30F + place * 0.20F + roll * 0.20F;
    }

private:
    static bool either(const std::string& a, const std::string& b) {
        return a.find(b) != std::string::npos || b.find(a) != std::string::npos;
    }
    float similarity(const std::string& a, const std::string& b) const {
        const auto distance = words_.distance(a, b);
        const float value = distance ? static_cast<float>((1.0 - *distance) / 0.3) : 0.0F;
        return value > 0.1F ? value : 0.0F;
    }
    float tags(const std::vector<std::string>& query, const SearchablePhoto& photo) const {
        float sum = 0.0F;
        if (!photo.visionTags) return sum;
        for (const auto& [name, confidence] : *photo.visionTags) {
            const std::string tag = language_.lowercased(name);
            for (const auto& word : query) {
                if (either(tag, word)) {
                    sum += confidence;
                    continue;
                }
                float best = 0.0F;
                for (const auto& part : split(tag, '_')) {
                    if (!part.empty()) best = std::max(best, similarity(word, part));
                }
                if (best > 0.0F) sum += confidence * best;
            }
        }
        return sum;
    }
    float labels(const std::vector<std::string>& query, const SearchablePhoto& photo) const {
        float best = 0.0F;
        for (const auto& [label, terms] : labelSearchTerms()) {
            if (!photo.labels.contains(label)) continue;
            for (const auto& word : query) {
                for (const auto term : terms) {
                    if (either(std::string(term), word)) return 1.0F;
                }
                best = std::max(best, similarity(word, asciiLowercased(displayName(label))));
            }
        }
        return best;
    }
    float location(const std::vector<std::string>& query, const SearchablePhoto& photo) const {
        const std::string place = language_.lowercased(photo.placeName.value_or(""));
        float best = 0.0F;
        for (const auto& word : query) {
            if (place.empty()) break;
            if (place.find(word) != std::string::npos) best = std::max(best, 1.0F);
            for (const auto& [region, countries] : regionCountries()) {
                if (region != word) continue;
                for (const auto country : countries) {
                    if (place.find(language_.lowercased(country)) != std::string::npos)
                        best = std::max(best, 0.7F);
                }
            }
        }
        return best;
    }
    float metadata(const std::vector<std::string>& query, const RollContext& context) const {
        for (const auto& word : query) {
            for (const auto& field : {context.cameraMake, context.filmName, context.notes}) {
                if (!field.empty() && either(language_.lowercased(field), word)) return 1.0F;
            }
        }
        return 0.0F;
    }
    static float colors(const std::vector<std::string>& query, const SearchablePhoto& photo) {
        if (!photo.dominantColors) return 0.0F;
        const std::set<std::string> wanted(query.begin(), query.end());
        for (const auto& hex : *photo.dominantColors) {
            const int red = std::stoi(hex.substr(1, 2), nullptr, 16);
            const int green = std::stoi(hex.substr(3, 2), nullptr, 16);
            const int blue = std::stoi(hex.substr(5, 2), nullptr, 16);
            const int max = std::max({red, green, blue}), min = std::min({red, green, blue});
            if (max - min >= 30) continue;
            const bool gray = wanted.contains("gray") || wanted.contains("grey");
            if (wanted.contains("monochrome") || (max < 65 && wanted.contains("black")) ||
                (min > 195 && wanted.contains("white")) || (max >= 65 && min <= 195 && gray)) {
                return 1.0F;
            }
        }
        std::vector<ColorTermRange> ranges;
        for (const auto& word : query) {
            for (const auto& range : colorTermRanges) {
                bool isMeant = range.word == word;
                for (const auto& [temperature, all] : temperatureTerms) {
                    isMeant = isMeant || (temperature == word &&
                                          std::find(all.begin(), all.end(), range.word) != all.end());
                }
                if (isMeant) ranges.push_back(range);
            }
        }
        float best = 0.0F;
        for (std::size_t i = 0; i < photo.dominantColors->size(); ++i) {
            const auto hue = hueFromHex((*photo.dominantColors)[i]);
            for (const auto& range : ranges) {
                if (hue && range.contains(*hue))
                    best = std::max(best, colorRankWeights[std::min<std::size_t>(i, 5)]);
            }
        }
        return best;
    }

    const Language& language_;
    const WordSimilarity& words_;
};

class SearchPropertyTest : public SearchTest {
protected:
    std::size_t below(std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(random);
    }
    std::string oneOf(const std::vector<std::string>& all) { return all[below(all.size())]; }
    std::vector<float> direction() {
        std::normal_distribution<float> normal;
        return {normal(random), normal(random), normal(random)};
    }

    SearchableRoll makeRoll() {
        SearchableRoll roll{.id = RollID::random(),
                            .context = {.cameraMake = oneOf({"", "Nikon", "Red Dot"}),
                                        .filmName = oneOf({"", "Gold", "HP5"}),
                                        .notes = oneOf({"", "trip to asia", "dog show"})},
                            .photos = {}};
        for (std::size_t i = below(12); i > 0; --i) {
            SearchablePhoto photo{.id = PhotoID::random()};
            if (below(3) > 0) photo.clipEmbedding = direction();
            TagConfidences tags;
            for (std::size_t t = below(6); t > 0; --t) {
                tags[oneOf(texts)] = static_cast<float>(below(1000)) / 1000.0F;
            }
            if (!tags.empty()) photo.visionTags = tags;
            for (std::size_t l = below(4); l > 0; --l)
                photo.labels.insert(static_cast<PhotoLabel>(below(19)));
            if (below(2) > 0) photo.placeName = oneOf({"", "Kyoto, Japan", "Red Hill, Ghana", "Lyon"});
            std::vector<std::string> colors;
            for (std::size_t c = below(7); c > 0; --c) {
                const bool gray = below(2) == 0;
                const auto level = below(256);
                colors.push_back(fmt::format("#{:02x}{:02x}{:02x}", level, gray ? level : below(256),
                                             gray ? level : below(256)));
            }
            if (!colors.empty()) photo.dominantColors = colors;
            roll.photos.push_back(photo);
        }
        return roll;
    }

    std::mt19937 random{6};
    const std::vector<std::string> texts{"dog", "Guide_Dog", "red_barn", "beach", "clip_warm", "sky", "barn"};
    const std::vector<std::string> queries{"dog",   "red dog", "warm beach", "asia gray",  "black WHITE",
                                           "puppy", "nikon",   "barn barn",  "gold ghana", "monochrome sea"};
};

TEST_F(SearchPropertyTest, TheIndexGivesTheScoresOfThePlainPassAndTheUnionOfSearchesOverEachRoll) {
    words.set("puppy", "dog", 0.8);
    words.set("puppy", "animal", 0.9);
    words.set("beach", "sky", 0.95);
    const PlainSearch plain(language, words);
    SearchService all(language, &words, nullptr);
    std::vector<SearchableRollPointer> rolls;
    for (int round = 0; round < 60; ++round) {
        // Some rolls stay, some change, some go, as between two queries of a session.
        if (rolls.size() > 5) rolls.erase(rolls.begin() + static_cast<std::ptrdiff_t>(below(rolls.size())));
        if (!rolls.empty()) {
            auto& roll = rolls[below(rolls.size())];
            SearchableRoll changed = *roll;
            for (auto& photo : changed.photos) photo.labels = {PhotoLabel::animal};
            if (!changed.photos.empty()) {
                const auto other = makeRoll().photos;
                if (!other.empty()) changed.photos[below(changed.photos.size())] = other[0];
                if (below(3) == 0) changed.photos.erase(changed.photos.begin());
            }
            roll = std::make_shared<const SearchableRoll>(std::move(changed));
        }
        rolls.push_back(std::make_shared<const SearchableRoll>(makeRoll()));
        all.update(rolls);
        const std::string typed = oneOf(queries);
        const auto query = SearchQuery::from(typed, language);
        const auto text = below(3) == 0 ? std::vector<float>() : direction();
        std::map<RollID, std::vector<SearchHit>> found;
        all.search(query, text, SearchOrder::score,
                   [&](std::size_t roll, const std::vector<SearchHit>& hits) {
                       found[rolls[roll]->id] = hits;
                       return true;
                   });
        for (const auto& roll : rolls) {
            std::vector<std::pair<float, std::uint32_t>> expected;
            for (std::uint32_t i = 0; i < roll->photos.size(); ++i) {
                const float score = plain.score(typed, text, roll->photos[i], roll->context);
                if (score > 0.0F) expected.emplace_back(score, i);
            }
            std::stable_sort(expected.begin(), expected.end(),
                             [](const auto& a, const auto& b) { return a.first > b.first; });
            const auto& hits = found[roll->id];
            ASSERT_EQ(hits.size(), expected.size()) << typed;
            for (std::size_t i = 0; i < hits.size(); ++i) {
                ASSERT_FLOAT_EQ(hits[i].score, expected[i].first) << typed;
            }
            SearchService alone(language, &words, nullptr);
            alone.update({roll});
            alone.search(query, text, SearchOrder::score,
                         [&](std::size_t, const std::vector<SearchHit>& own) {
                             EXPECT_TRUE(std::equal(own.begin(), own.end(), hits.begin(), hits.end(),
                                                    [](const SearchHit& a, const SearchHit& b) {
                                                        return a.position == b.position && a.score == b.score;
                                                    }));
                             return true;
                         });
        }
    }
}

TEST_F(SearchPropertyTest, EachDifferentTagIsComparedOnceAQuery) {
    SearchableRoll roll{.id = RollID::random(), .context = {}, .photos = {}};
    for (int i = 0; i < 500; ++i) {
        roll.photos.push_back({.id = PhotoID::random(), .visionTags = TagConfidences{{"sky_blue", 1.0F}}});
    }
    auto service = SearchTest::service();
    service.search("puppy", roll);
    EXPECT_LE(words.questions, 2 + static_cast<int>(photoLabelCount));
}

}  // namespace
}  // namespace kelvaris
