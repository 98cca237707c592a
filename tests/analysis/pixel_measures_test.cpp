#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "analysis/dominant_colors.h"
#include "analysis/frame_quality.h"
#include "analysis/gems.h"
#include "analysis/image_statistics.h"
#include "analysis/perceptual_hash.h"
#include "analysis/scene_labels.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;

GreyImage noise(int width, int height, std::uint32_t seed = 1) {
    GreyImage grey{width, height, {}};
    for (int i = 0; i < width * height; ++i) {
        seed = seed * 1664525 + 1013904223;
        grey.pixels.push_back(static_cast<std::uint8_t>(seed >> 24));
    }
    return grey;
}

Bitmap colored(int width, int height, std::array<std::uint8_t, 3> color) {
    Bitmap bitmap{width, height, 3, {}};
    for (int i = 0; i < width * height; ++i)
        bitmap.pixels.insert(bitmap.pixels.end(), color.begin(), color.end());
    return bitmap;
}

TEST(GreyCopyTest, EveryColourIsRoundedExactly) {
    Bitmap bitmap{256, 1, 3, {}};
    for (int base = 0; base < 256; base += 5) {
        for (int other = 0; other < 256; other += 7) {
            bitmap.pixels.clear();
            for (int value = 0; value < 256; ++value) {
                for (const int channel : {base, value, other})
                    bitmap.pixels.push_back(static_cast<std::uint8_t>(channel));
            }
            const GreyImage grey = greyCopy(bitmap);
            for (int value = 0; value < 256; ++value) {
                ASSERT_EQ(grey.pixels[static_cast<std::size_t>(value)],
                          (2 * (299 * base + 587 * value + 114 * other) + 1000) / 2000);
            }
        }
    }
}

/// The measure as it is written down, one pixel at a time.
double plainLaplacianVariance(const GreyImage& grey) {
    constexpr int kernel[5][5] = {
        {0, 0, -1, 0, 0}, {0, -1, -2, -1, 0}, {-1, -2, 16, -2, -1}, {0, -1, -2, -1, 0}, {0, 0, -1, 0, 0}};
    double sum = 0;
    double squares = 0;
    for (int y = 0; y < grey.height; ++y) {
        for (int x = 0; x < grey.width; ++x) {
            int value = 0;
            for (int v = -2; v <= 2; ++v) {
                for (int u = -2; u <= 2; ++u) {
                    const int line = std::clamp(y + v, 0, grey.height - 1);
                    const int column = std::clamp(x + u, 0, grey.width - 1);
                    value += kernel[v + 2][u + 2] *
                             grey.pixels[static_cast<std::size_t>(line * grey.width + column)];
                }
            }
            value = std::clamp(value / 4, 0, 255);
            sum += value;
            squares += value * value;
        }
    }
    const double count = grey.width * grey.height;
    const auto mean = static_cast<float>(sum / count);
    return static_cast<float>(squares / count) - mean * mean;
}

TEST(ImageStatisticsTest, LaplacianVarianceIsThatOfTheWrittenKernel) {
    for (const auto& [width, height] : {std::pair{5, 5}, {17, 6}, {64, 48}, {131, 77}}) {
        const GreyImage grey = noise(width, height);
        EXPECT_EQ(laplacianVariance(grey.pixels, width, height), plainLaplacianVariance(grey));
    }
    const GreyImage thin = noise(4, 100);
    EXPECT_EQ(laplacianVariance(thin.pixels, 4, 100), 0);
    const GreyImage low = noise(100, 4);
    EXPECT_EQ(laplacianVariance(low.pixels, 100, 4), 0);
}

TEST(ImageStatisticsTest, NumbersAreThoseOfTheBytes) {
    // 10 of 0, 80 of 100, 10 of 200.
    GreyImage grey{10, 10, std::vector<std::uint8_t>(100, 100)};
    std::fill_n(grey.pixels.begin(), 10, std::uint8_t{0});
    std::fill_n(grey.pixels.rbegin(), 10, std::uint8_t{200});
    const auto statistics = computeImageStatistics(grey);
    ASSERT_TRUE(statistics);
    EXPECT_EQ(statistics->mean, 100);
    EXPECT_EQ(statistics->variance, 2000);
    EXPECT_EQ(statistics->p5, 0);
    EXPECT_EQ(statistics->p95, 200);
    EXPECT_EQ(statistics->dynamicRange, 200);
    EXPECT_FALSE(computeImageStatistics(GreyImage{}));

    const auto histogram = histogramOf(grey.pixels);
    EXPECT_EQ(percentile(histogram, 100, 0.10), 0);
    EXPECT_EQ(percentile(histogram, 100, 0.11), 100);
    EXPECT_EQ(percentile(histogram, 100, 0.90), 100);
    EXPECT_EQ(percentile(histogram, 100, 0.0), 0);
    EXPECT_EQ(percentile(histogram, 1000, 0.5), 255);
}

ImageStatistics measured(double mean, double variance, double p5, double p95, double sharpness = 500) {
    return {mean, variance, p5, p95, p95 - p5, sharpness};
}

TEST(FrameQualityTest, LeadersAreBlankMoreReadilyThanFramesWithin) {
    const ImageStatistics faint = measured(100, 100, 50, 120);
    EXPECT_TRUE(isBlank(faint, isEdgeFrame(std::nullopt)));
    EXPECT_TRUE(isBlank(faint, isEdgeFrame(FrameContext{2, 36})));
    EXPECT_TRUE(isBlank(faint, isEdgeFrame(FrameContext{33, 36})));
    EXPECT_FALSE(isBlank(faint, isEdgeFrame(FrameContext{3, 36})));
    EXPECT_FALSE(isBlank(faint, isEdgeFrame(FrameContext{32, 36})));
    for (int frame = 0; frame < 5; ++frame) EXPECT_TRUE(isEdgeFrame(FrameContext{frame, 5}));
    // Dark and flat, though uneven enough.
    EXPECT_TRUE(isBlank(measured(64, 200, 50, 79), true));
    EXPECT_FALSE(isBlank(measured(64, 200, 50, 79), false));
    EXPECT_FALSE(isBlank(measured(65, 200, 50, 79), true));
    EXPECT_FALSE(hasStructure(measured(100, 49.9, 50, 120)));
    EXPECT_FALSE(hasStructure(measured(100, NAN, 50, 120)));
    EXPECT_TRUE(hasStructure(measured(100, 50, 50, 65)));
}

TEST(FrameQualityTest, EachIssueHasItsLimits) {
    using enum PhotoLabel;
    const auto issues = [](const ImageStatistics& statistics, bool blank = false) {
        return filmIssues(statistics, blank);
    };
    const ImageStatistics good = measured(120, 3000, 20, 220);
    EXPECT_EQ(issues(good), PhotoLabelSet{});
    EXPECT_EQ(issues(measured(120, 3000, 20, 220, 99.9)), PhotoLabelSet{blur});
    EXPECT_EQ(issues(measured(64, 3000, 20, 220)), PhotoLabelSet{dark});
    EXPECT_EQ(issues(measured(59, 3000, 20, 220)), (PhotoLabelSet{dark, night}));
    EXPECT_EQ(issues(measured(59, 3000, 20, 220), true), PhotoLabelSet{});
    EXPECT_EQ(issues(measured(100, 3000, 20, 109)), PhotoLabelSet{dark});
    EXPECT_EQ(issues(measured(144, 300, 61, 140)), PhotoLabelSet{dark});
    EXPECT_EQ(issues(measured(145, 300, 61, 140)), PhotoLabelSet{});
    EXPECT_EQ(issues(measured(146, 300, 61, 140)), PhotoLabelSet{blowout});
    EXPECT_EQ(issues(measured(146, 300, 61, 141)), PhotoLabelSet{});
    EXPECT_EQ(issues(measured(181, 3000, 20, 250), true), PhotoLabelSet{blowout});
}

TEST(FrameQualityTest, ScoresAddUpAndStayInBounds) {
    using enum PhotoLabel;
    EXPECT_DOUBLE_EQ(baseQualityScore(std::nullopt), 0.5);
    EXPECT_DOUBLE_EQ(baseQualityScore(measured(130, 0, 0, 255, 5000)), 1);
    EXPECT_DOUBLE_EQ(baseQualityScore(measured(65, 0, 0, 100, 250)), 0.1 + 0.175 + 0.125);
    EXPECT_DOUBLE_EQ(baseQualityScore(measured(0, 0, 0, 0, 0)), 0);
    EXPECT_DOUBLE_EQ(adjustedQualityScore(0.9, {face, person, blur}), 0.9);
    EXPECT_DOUBLE_EQ(adjustedQualityScore(0.5, {person, water}), 0.55);
    EXPECT_DOUBLE_EQ(adjustedQualityScore(0.25, {blur, dark, blowout, blank, artifact}), 0);
}

TEST(PerceptualHashTest, BitsTellFallingBrightnessFromTheFirstPairOn) {
    const auto hash = [](auto&& brightness) {
        GreyImage grey{90, 80, {}};
        for (int y = 0; y < 80; ++y) {
            for (int x = 0; x < 90; ++x)
                grey.pixels.push_back(static_cast<std::uint8_t>(brightness(x / 10, y / 10)));
        }
        return perceptualHash(grey);
    };
    EXPECT_EQ(hash([](int, int) { return 77; }), "0000000000000000");
    EXPECT_EQ(hash([](int x, int) { return 200 - 10 * x; }), "ffffffffffffffff");
    EXPECT_EQ(hash([](int x, int y) { return y == 0 && x == 0 ? 200 : 100; }), "8000000000000000");
    EXPECT_EQ(hash([](int x, int y) { return y == 7 && x == 7 ? 200 : 100; }), "0000000000000001");
    EXPECT_FALSE(perceptualHash(GreyImage{}));
    EXPECT_EQ(perceptualHash(GreyImage{2, 1, {200, 100}})->size(), 16U);
}

TEST(DominantColorsTest, TheMostFrequentComeFirstAndSmallBlackAndWhiteDropOut) {
    EXPECT_EQ(extractDominantColors(Bitmap{}, 5, 10), std::nullopt);
    // Centers that find no pixels keep their first colour and are told last.
    EXPECT_THAT(*extractDominantColors(colored(500, 300, {200, 30, 40}), 5, 10),
                ElementsAre("#c81e28", "#c81e28", "#c81e28", "#c81e28", "#c81e28"));

    // Of 50 lines: 30 blue, 11 orange, 9 black (450 pixels).
    Bitmap bitmap = colored(50, 50, {10, 20, 200});
    const auto paint = [&](int from, int to, std::array<std::uint8_t, 3> color) {
        for (int i = from * 50; i < to * 50; ++i) {
            std::copy(color.begin(), color.end(), bitmap.pixels.begin() + i * 3);
        }
    };
    paint(30, 41, {250, 140, 0});
    paint(41, 50, {2, 2, 2});
    EXPECT_THAT(*extractDominantColors(bitmap, 5, 10),
                ElementsAre("#0a14c8", "#fa8c00", "#0a14c8", "#fa8c00"));
    paint(40, 41, {2, 2, 2});
    EXPECT_THAT(*extractDominantColors(bitmap, 5, 10),
                ElementsAre("#0a14c8", "#fa8c00", "#020202", "#0a14c8", "#0a14c8"));
    // Grey pictures have colours too.
    EXPECT_EQ(extractDominantColors(Bitmap{10, 10, 1, Bytes(100, 128)}, 5, 10)->front(), "#808080");
}

TEST(DominantColorsTest, CentersStartSpreadOutAndTiesGoToTheFirst) {
    const std::vector<ColorTriple> pixels{{0, 0, 0}, {10, 0, 0}, {20, 0, 0}, {30, 0, 0}};
    const auto clusters = colorClusters(pixels, 2, 1);
    // Centers 0 and 20: the pixel of 10 is as near to both.
    EXPECT_EQ(clusters[0].pixels, 2);
    EXPECT_EQ(clusters[0].center[0], 5);
    EXPECT_EQ(clusters[1].center[0], 25);
    // A center that shares its place with an earlier one gets nothing and stays.
    const auto same = colorClusters(std::vector<ColorTriple>(4, {7, 7, 7}), 2, 3);
    EXPECT_EQ(same[0].pixels, 4);
    EXPECT_EQ(same[1].pixels, 0);
    EXPECT_EQ(same[1].center[0], 7);
}

TEST(SceneLabelsTest, TheThreeBestNewLabelsAreTakenAndTagsKeepTheirSpelling) {
    using enum PhotoLabel;
    const std::vector<SceneObservation> observations{{"Outdoor", 0.9F},   {"Ocean", 0.5F}, {"beach", 0.6F},
                                                     {"Ice Cream", 0.4F}, {"dog", 0.2F},   {"car", 0.13F},
                                                     {"flower", 0.11F},   {"dust", 0.03F}};
    const SceneReading reading = readScene(observations, {}, 0.12F);
    EXPECT_EQ(reading.labels, (PhotoLabelSet{water, food, animal}));
    EXPECT_EQ(reading.tags.size(), 7U);
    EXPECT_TRUE(reading.tags.contains("Ice Cream"));
    EXPECT_FALSE(reading.tags.contains("dust"));
    // Four subjects are enough, whoever found them.
    EXPECT_EQ(readScene(observations, {face, person}, 0.12F).labels,
              (PhotoLabelSet{face, person, water, food}));
}

TEST(SceneLabelsTest, PeopleAreBelievedAtTheirOwnThreshold) {
    const std::vector<SceneObservation> observations{{"Toddler", 0.1F}};
    EXPECT_EQ(readScene(observations, {}, 0.08F).labels, PhotoLabelSet{PhotoLabel::person});
    EXPECT_EQ(readScene(observations, {}, 0.12F).labels, PhotoLabelSet{});
    EXPECT_FALSE(labelOfScene("person"));
}

TEST(GemsTest, TheBestQuarterOfWhatIsWorthIt) {
    const auto photo = [](int index, bool blank = false) {
        auto item = std::make_shared<PhotoItem>(Path("/roll/" + std::to_string(index) + ".jpg"), index);
        if (blank) item->setLabels({PhotoLabel::blank});
        return item;
    };
    std::vector<ScoredPhoto> candidates{{photo(0), 0.25}, {photo(1, true), 0.9}, {photo(2), NAN}};
    EXPECT_TRUE(selectGems(candidates, 5).empty());
    candidates.insert(candidates.end(), {{photo(3), 0.5}, {photo(4), 0.7}, {photo(5), 0.7}});
    ASSERT_EQ(selectGems(candidates, 5).size(), 1U);
    EXPECT_EQ(selectGems(candidates, 5)[0]->filename(), "4.jpg");
    EXPECT_TRUE(selectGems(candidates, 0).empty());
    for (int i = 6; i < 23; ++i) candidates.push_back({photo(i), 0.5});
    EXPECT_EQ(selectGems(candidates, 5).size(), 5U);
    EXPECT_EQ(selectGems(candidates, 3).size(), 3U);
}

}  // namespace
}  // namespace kelvaris
