#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

#include "sample_roll/roll_maker.h"
#include "sample_roll/writers.h"

namespace kelvaris::sample_roll {
namespace {

class SampleRollTest : public ::testing::Test {
protected:
    SampleRollTest() { std::filesystem::create_directories(folder_); }
    ~SampleRollTest() override { std::filesystem::remove_all(folder_); }

    static std::vector<char> contents(const std::filesystem::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const std::filesystem::path folder_ =
        std::filesystem::temp_directory_path() /
        ("sample_roll_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
};

std::map<std::string, std::vector<char>> filesOf(const std::filesystem::path& folder) {
    std::map<std::string, std::vector<char>> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        files[entry.path().filename().string()] = {std::istreambuf_iterator<char>(file), {}};
    }
    return files;
}

TEST_F(SampleRollTest, SameSeedGivesTheSameBytesAndAnotherSeedDoesNot) {
    const RollOptions options{.seed = 7, .frames = 4, .megapixels = 0.05};
    RollOptions other = options;
    other.seed = 8;
    const auto ignore = [](std::string_view) {};
    ASSERT_EQ(makeRoll(folder_ / "first", options, ignore), 4);
    ASSERT_EQ(makeRoll(folder_ / "second", options, ignore), 4);
    ASSERT_EQ(makeRoll(folder_ / "other", other, ignore), 4);
    EXPECT_EQ(filesOf(folder_ / "first"), filesOf(folder_ / "second"));
    EXPECT_NE(filesOf(folder_ / "first").at("scan_02.jpg"), filesOf(folder_ / "other").at("scan_02.jpg"));
}

TEST_F(SampleRollTest, EveryKindOfSpecialFrameIsInAFullRollAndInAShortOne) {
    for (const int frames : {14, 36}) {
        std::set<std::string> remarks;
        std::set<Format> formats;
        for (const PlannedFrame& planned : planRoll({.frames = frames})) {
            remarks.insert(planned.remark);
            formats.insert(planned.format);
            const double megapixels = planned.recipe.width * planned.recipe.height / 1e6;
            EXPECT_THAT(megapixels, ::testing::AllOf(::testing::Ge(5.9), ::testing::Le(24.3)));
        }
        remarks.erase("");
        EXPECT_EQ(remarks.size(), 14U) << frames;
        EXPECT_EQ(formats.size(), 3U) << frames;
    }
}

double meanOf(Frame& frame) {
    double sum = 0;
    for (int y = 0; y < frame.height(); ++y) {
        for (const std::uint8_t sample : frame.row8(y)) sum += sample;
    }
    return sum / frame.height() / frame.width() / frame.channels();
}

TEST_F(SampleRollTest, FaultsShowInThePixels) {
    const auto mean = [](Fault fault) {
        Frame frame({.scene = Scene::sea, .width = 300, .height = 200, .fault = fault});
        return meanOf(frame);
    };
    EXPECT_LT(mean(Fault::dark), 65);
    EXPECT_LT(mean(Fault::blankLeader), 65);
    EXPECT_GT(mean(Fault::blownOut), 200);
    EXPECT_THAT(mean(Fault::none), ::testing::AllOf(::testing::Gt(90), ::testing::Lt(190)));
}

TEST_F(SampleRollTest, ALyingFrameIsTheUprightOneTurned) {
    FrameRecipe recipe{.scene = Scene::hills, .width = 150, .height = 100, .grain = 0};
    recipe.placing = Placing::sideways;
    Frame lying(recipe);
    recipe.placing = Placing::upright;
    std::swap(recipe.width, recipe.height);
    Frame upright(recipe);
    double difference = 0;
    for (int y = 0; y < upright.height(); ++y) {
        const auto row = upright.row8(y);
        const std::vector<std::uint8_t> samples(row.begin(), row.end());
        for (int x = 0; x < upright.width(); ++x) {
            // Turned clockwise, the top edge comes to lie on the right.
            const auto turned = lying.row8(x)[static_cast<std::size_t>((upright.height() - 1 - y) * 3 + 1)];
            difference += std::abs(samples[static_cast<std::size_t>(x * 3 + 1)] - turned);
        }
    }
    EXPECT_LT(difference / (150 * 100), 4);
}

std::string toolOutput(const std::string& command) {
    std::string text;
    std::FILE* pipe = ::popen(command.c_str(), "r");
    std::array<char, 4096> part{};
    while (std::fgets(part.data(), static_cast<int>(part.size()), pipe) != nullptr) text += part.data();
    ::pclose(pipe);
    return text;
}

TEST_F(SampleRollTest, AnIndependentReaderFindsEveryTagInBothByteOrders) {
    if (toolOutput("exiftool -ver 2>/dev/null").empty()) GTEST_SKIP() << "exiftool is not installed";
    for (const bool bigEndian : {false, true}) {
        ExifRecord exif;
        exif.bigEndian = bigEndian;
        exif.make = "Lumenworks";
        exif.model = "LW-3000";
        exif.orientation = 8;
        exif.dateTime = exif.dateTimeOriginal = "2026:03:14 09:30:00";
        exif.isoSpeed = static_cast<std::uint16_t>(400);
        exif.fNumber = Rational{56, 10};
        exif.place = GeoPoint{-35.5, 135.75};
        const FrameRecipe recipe{.width = 120, .height = 80};
        exif.thumbnail = thumbnailJpeg(recipe, 60);
        Frame frame(recipe);
        const auto path = folder_ / "tagged.jpg";
        ASSERT_EQ(writeJpeg(path, frame, 85, exif), WriteOutcome::written);
        const std::string text = toolOutput(
            "exiftool -warning -s3 -n -Make -Model -Orientation -DateTimeOriginal -ISO -FNumber "
            "-GPSLatitude -GPSLongitude -GPSLatitudeRef -ThumbnailLength " +
            path.string());
        EXPECT_EQ(text, "Lumenworks\nLW-3000\n8\n2026:03:14 09:30:00\n400\n5.6\n-35.5\n135.75\nS\n" +
                            std::to_string(exif.thumbnail.size()) + "\n");
    }
}

TEST_F(SampleRollTest, TiffAndHeicCarrySizeAndTags) {
    if (toolOutput("exiftool -ver 2>/dev/null").empty()) GTEST_SKIP() << "exiftool is not installed";
    ExifRecord exif;
    exif.make = "Lumenworks";
    exif.dateTimeOriginal = "2026:03:14 09:30:00";
    Frame frame({.width = 128, .height = 80});
    ASSERT_EQ(writeTiff16(folder_ / "a.tif", frame, true, exif), WriteOutcome::written);
    EXPECT_EQ(toolOutput("exiftool -warning -s3 -n -Make -DateTimeOriginal -ImageWidth -ImageHeight "
                         "-BitsPerSample " +
                         (folder_ / "a.tif").string()),
              "Lumenworks\n2026:03:14 09:30:00\n128\n80\n16 16 16\n");
    if (writeHeic(folder_ / "a.heic", frame, 60, exif) == WriteOutcome::noEncoder) {
        GTEST_SKIP() << "this machine has no HEIC encoder";
    }
    EXPECT_EQ(toolOutput("exiftool -warning -s3 -n -Make -DateTimeOriginal -ImageWidth -ImageHeight " +
                         (folder_ / "a.heic").string()),
              "Lumenworks\n2026:03:14 09:30:00\n128\n80\n");
}

TEST_F(SampleRollTest, AFolderThatCannotBeMadeIsToldAndWritesNothing) {
    std::ofstream(folder_ / "file") << "in the way";
    std::string told;
    EXPECT_EQ(makeRoll(folder_ / "file" / "roll", {.frames = 1}, [&](std::string_view text) { told = text; }),
              0);
    EXPECT_THAT(told, ::testing::HasSubstr("could not make the folder"));
}

}  // namespace
}  // namespace kelvaris::sample_roll
