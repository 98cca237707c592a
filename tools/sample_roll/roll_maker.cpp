#include "sample_roll/roll_maker.h"

#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <mutex>
#include <thread>

#include "sample_roll/random_source.h"
#include "sample_roll/writers.h"

namespace kelvaris::sample_roll {

namespace {

/// A frame that every roll has.
struct SpecialFrame {
    const char* remark;
    Fault fault = Fault::none;
    Placing placing = Placing::upright;
    std::optional<Scene> scene;
    bool monochrome = false;
    bool stamped = false;
    Format format = Format::jpeg;
    /// Lies sideways in the file, but its EXIF orientation says so.
    bool turnedByTag = false;
};

const std::array<SpecialFrame, 14>& specialFrames() {
    static const std::array<SpecialFrame, 14> frames = {{
        {.remark = "blank leader", .fault = Fault::blankLeader},
        {.remark = "light leak", .fault = Fault::lightLeak},
        {.remark = "16-bit TIFF", .format = Format::tiff16},
        {.remark = "lying sideways", .placing = Placing::sideways, .scene = Scene::street},
        {.remark = "burned-in date", .scene = Scene::meadow, .stamped = true},
        {.remark = "blurred", .fault = Fault::blurred, .scene = Scene::street},
        {.remark = "dark", .fault = Fault::dark, .scene = Scene::hills},
        {.remark = "HEIC", .scene = Scene::sea, .format = Format::heic},
        {.remark = "blown out", .fault = Fault::blownOut, .scene = Scene::sea},
        {.remark = "portrait", .scene = Scene::portrait},
        {.remark = "colour cast", .fault = Fault::colorCast},
        {.remark = "monochrome", .scene = Scene::street, .monochrome = true},
        {.remark = "turned by its EXIF orientation",
         .placing = Placing::sideways,
         .scene = Scene::hills,
         .turnedByTag = true},
        {.remark = "upside down", .placing = Placing::upsideDown, .scene = Scene::hills},
    }};
    return frames;
}

std::vector<const SpecialFrame*> spreadSpecials(int frames) {
    const auto& specials = specialFrames();
    const int count = static_cast<int>(specials.size());
    std::vector<const SpecialFrame*> result(static_cast<std::size_t>(frames));
    for (int index = 0; index < std::min(frames, count); ++index) {
        const int place = frames < count ? index : index * frames / count;
        result[static_cast<std::size_t>(place)] = &specials[static_cast<std::size_t>(index)];
    }
    return result;
}

constexpr std::array ordinaryScenes = {Scene::hills,  Scene::street,    Scene::sea,
                                       Scene::meadow, Scene::stillLife, Scene::nightStreet};

void sizeFrame(FrameRecipe& recipe, double megapixels) {
    const double height = std::sqrt(megapixels * 1e6 / 1.5);
    recipe.height = std::max(8, static_cast<int>(std::lround(height / 8)) * 8);
    recipe.width = recipe.height * 3 / 2;
}

ExifRecord scannerExif(RandomSource& random, int index) {
    struct Scanner {
        const char* make;
        const char* model;
        const char* software;
    };
    constexpr std::array<Scanner, 3> scanners = {{
        {"Lumenworks", "LW-3000 Film Scanner", "LW Scan 4.1"},
        {"Aoyama Optical", "FS Mark II", "FS Utility 2.0.3"},
        {"Halide & Sons", "Rollscan 135", "Rollscan 1.9"},
    }};
    const Scanner& scanner = scanners[static_cast<std::size_t>(random.whole(0, 2))];
    ExifRecord exif;
    exif.bigEndian = random.chance(0.5F);
    exif.make = scanner.make;
    exif.model = scanner.model;
    exif.software = scanner.software;
    // 90 seconds from frame to frame, beginning at half past nine.
    const int seconds = (9 * 3600) + (30 * 60) + (index * 90);
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "2026:03:14 %02d:%02d:%02d", seconds / 3600 % 24,
                  seconds / 60 % 60, seconds % 60);
    exif.dateTime = text.data();
    exif.dateTimeOriginal = text.data();
    if (random.chance(0.4F)) {
        exif.exposureTime = Rational{1, 125};
        exif.fNumber = Rational{56, 10};
        exif.isoSpeed = static_cast<std::uint16_t>(400);
        exif.lensModel = "50mm f/1.8";
    }
    if (random.chance(0.25F)) {
        exif.place =
            GeoPoint{35.0116 + random.between(-0.05F, 0.05F), 135.7681 + random.between(-0.05F, 0.05F)};
    }
    if (random.chance(0.3F)) {
        for (int byte = 0; byte < 96; ++byte) {
            exif.makerNote.push_back(static_cast<std::uint8_t>(random.bits()));
        }
    }
    return exif;
}

DateStamp rollStamp(RandomSource& random) {
    DateStamp stamp;
    stamp.text = "'98  7 24";
    stamp.digitHeight = random.between(0.03F, 0.036F);
    return stamp;
}

const char* extension(Format format) {
    switch (format) {
        case Format::jpeg:
            return ".jpg";
        case Format::tiff16:
            return ".tif";
        case Format::heic:
            return ".heic";
    }
    return "";
}

}  // namespace

std::vector<PlannedFrame> planRoll(const RollOptions& options) {
    constexpr std::array megapixelSteps = {24.0, 6.0, 12.0, 8.0, 16.0};
    // Encoding HEIC costs several seconds for every ten megapixels.
    constexpr double largestHeic = 6;
    RandomSource random(mixBits(options.seed));
    const int frames = std::max(1, options.frames);
    const auto specials = spreadSpecials(frames);
    std::vector<PlannedFrame> plan;
    for (int index = 0; index < frames; ++index) {
        RandomSource own = random.fork();
        const auto place = static_cast<std::size_t>(index);
        const SpecialFrame* special = specials[place];
        PlannedFrame planned;
        std::array<char, 32> name{};
        std::snprintf(name.data(), name.size(), "scan_%02d", index + 1);
        planned.name = name.data();
        planned.recipe.seed = own.bits();
        planned.recipe.scene = ordinaryScenes[place % ordinaryScenes.size()];
        planned.recipe.grain = own.between(0.01F, 0.022F);
        if (special != nullptr) {
            planned.remark = special->remark;
            planned.recipe.fault = special->fault;
            planned.recipe.placing = special->placing;
            planned.recipe.scene = special->scene.value_or(planned.recipe.scene);
            planned.recipe.monochrome = special->monochrome;
            planned.format = special->format;
            if (special->stamped) {
                planned.recipe.stamp = rollStamp(own);
            }
        } else if (index % 9 == 7) {
            planned.format = Format::tiff16;
            planned.compressedTiff = true;
        }
        double megapixels = options.megapixels.value_or(megapixelSteps[place % megapixelSteps.size()]);
        if (planned.format == Format::heic) {
            megapixels = std::min(megapixels, largestHeic);
        }
        sizeFrame(planned.recipe, megapixels);
        const bool turned = special != nullptr && special->turnedByTag;
        if (turned || index % 3 != 2) {
            planned.exif = scannerExif(own, index);
            planned.exif->orientation = turned ? 8 : 1;
            planned.embedsThumbnail = planned.format == Format::jpeg && own.chance(0.5F);
        }
        plan.push_back(std::move(planned));
    }
    return plan;
}

std::optional<std::filesystem::path> writeFrame(const std::filesystem::path& folder,
                                                const PlannedFrame& planned,
                                                const std::function<void(std::string_view)>& note) {
    constexpr int jpegQuality = 90;
    constexpr int thumbnailSide = 160;
    std::optional<ExifRecord> exif = planned.exif;
    if (exif && planned.embedsThumbnail) {
        exif->thumbnail = thumbnailJpeg(planned.recipe, thumbnailSide);
    }
    Frame frame(planned.recipe);
    const auto write = [&](Format format) {
        const std::filesystem::path path = folder / (planned.name + extension(format));
        WriteOutcome outcome = WriteOutcome::failed;
        switch (format) {
            case Format::jpeg:
                outcome = writeJpeg(path, frame, jpegQuality, exif);
                break;
            case Format::tiff16:
                outcome = writeTiff16(path, frame, planned.compressedTiff, exif);
                break;
            case Format::heic:
                outcome = writeHeic(path, frame, 60, exif);
                break;
        }
        return std::pair(path, outcome);
    };
    auto [path, outcome] = write(planned.format);
    if (outcome == WriteOutcome::noEncoder) {
        note("no HEIC encoder on this machine: " + planned.name + " is written as a JPEG");
        std::tie(path, outcome) = write(Format::jpeg);
    }
    if (outcome != WriteOutcome::written) {
        note("could not write " + path.string());
        return std::nullopt;
    }
    return path;
}

int makeRoll(const std::filesystem::path& folder, const RollOptions& options,
             const std::function<void(std::string_view)>& note) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        note("could not make the folder " + folder.string() + ": " + error.message());
        return 0;
    }
    const std::vector<PlannedFrame> plan = planRoll(options);
    std::atomic<std::size_t> next = 0;
    std::atomic<int> written = 0;
    std::mutex noteLock;
    const auto say = [&](std::string_view text) {
        const std::scoped_lock held(noteLock);
        note(text);
    };
    const auto work = [&] {
        for (std::size_t index = next++; index < plan.size(); index = next++) {
            if (const auto path = writeFrame(folder, plan[index], say)) {
                ++written;
                const FrameRecipe& recipe = plan[index].recipe;
                say(path->filename().string() + "  " + std::to_string(recipe.width) + " x " +
                    std::to_string(recipe.height) +
                    (plan[index].remark.empty() ? "" : "  " + plan[index].remark));
            }
        }
    };
    {
        std::vector<std::jthread> workers;
        const unsigned count = std::max(1U, std::thread::hardware_concurrency());
        for (unsigned index = 1; index < count; ++index) {
            workers.emplace_back(work);
        }
        work();
    }
    return written;
}

}  // namespace kelvaris::sample_roll
