#include "analysis/timestamp_detection_service.h"

#include "analysis/stamp_grammar.h"
#include "analysis/stamp_reader.h"
#include "images/image_loading.h"
#include "platform/bitmap_scaling.h"

namespace kelvaris {

namespace {

/// The long side at which stamps are looked for: their digits then are 10 to 40 pixels high.
constexpr int readingSide = 800;
/// Below this gap between burning and dark lights a digit could be another one.
constexpr double leastSegmentConfidence = 0.22;
/// The text engine is sure of most things that it reads; less than this is a guess.
constexpr double leastTextConfidence = 0.85;

Image readingSize(const Image& image) {
    const int longSide = image->longSide();
    if (longSide <= readingSide) return image;
    const auto scaled = [&](int side) { return std::max(1, side * readingSide / longSide); };
    return std::make_shared<Bitmap>(stretched(*image, scaled(image->width), scaled(image->height)));
}

}  // namespace

std::optional<CivilTime> TimestampDetectionService::dateInUpright(const Bitmap& bitmap, int latestYear) {
    const FloatPlane contrast = stampContrast(bitmap);
    const auto lines = findStampLines(contrast);
    for (const StampLine& line : lines) {
        const auto reading = readSevenSegments(contrast, line);
        if (!reading || reading->confidence < leastSegmentConfidence) continue;
        if (const auto date = parseStampDate(reading->text, latestYear)) return date;
    }
    for (const StampLine& line : lines) {
        if (line.glyphs.size() < 5) continue;
        const auto picture = std::make_shared<Bitmap>(stampLinePicture(contrast, line));
        const auto found =
            vision_.recognizeText(picture, {.characters = "0123456789 '.-/ABCDEFGJLMNOPRSTUVY"});
        if (!found || found->size() != 1 || found->front().confidence < leastTextConfidence) continue;
        if (const auto date = parseStampDate(withDigitsPutRight(found->front().text), latestYear))
            return date;
    }
    return std::nullopt;
}

std::optional<CivilTime> TimestampDetectionService::detectDate(const Bitmap& bitmap) {
    if (bitmap.channels != 3) return std::nullopt;
    const int latestYear = utcCivilTime(clock_.now()).year + 1;
    const Image frame = readingSize(std::make_shared<Bitmap>(bitmap));
    for (const RotationAngle turn :
         {RotationAngle::none, RotationAngle::clockwise90, RotationAngle::clockwise270}) {
        const Image turned = ImageLoading::transformed(frame, 1, turn);
        if (const auto date = dateInUpright(*turned, latestYear)) return date;
    }
    return std::nullopt;
}

std::optional<Instant> TimestampDetectionService::detectTimestamp(const Image& image) {
    const auto date = detectDate(*image);
    return date ? language_.fromLocalTime(*date) : std::nullopt;
}

}  // namespace kelvaris
