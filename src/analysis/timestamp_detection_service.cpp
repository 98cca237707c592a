#include "analysis/timestamp_detection_service.h"

#include <algorithm>

#include "analysis/stamp_grammar.h"
#include "analysis/stamp_reader.h"
#include "platform/bitmap_scaling.h"

namespace kelvaris {

namespace {

/// The long side at which stamps are looked for: their digits then are 10 to 40 pixels high.
constexpr int readingSide = 800;
/// Below this gap between burning and dark lights a digit could be another one.
constexpr double leastSegmentConfidence = 0.22;
/// The text engine is sure of most things that it reads; less than this is a guess.
constexpr double leastTextConfidence = 0.85;

Bitmap readingSize(const Bitmap& bitmap) {
    const int longSide = bitmap.longSide();
    if (longSide <= readingSide) return bitmap;
    const auto scaled = [&](int side) { return std::max(1, side * readingSide / longSide); };
    return stretched(bitmap, scaled(bitmap.width), scaled(bitmap.height));
}

}  // namespace

std::optional<CivilTime> TimestampDetectionService::detectDate(const Bitmap& bitmap) {
    if (bitmap.channels != 3 || bitmap.longSide() == 0) return std::nullopt;
    const int latestYear = utcCivilTime(clock_.now()).year + 1;
    FloatPlane contrast = stampContrast(readingSize(bitmap));
    // Cameras print along the long side of the film.
    if (contrast.height > contrast.width) contrast = contrast.turnedClockwise();

    std::optional<Bitmap> unread;
    for (int side = 0; side < 2; ++side) {
        for (const StampLine& line : findStampLines(contrast)) {
            const auto reading = readSevenSegments(contrast, line);
            if (reading && reading->confidence >= leastSegmentConfidence) {
                if (const auto date = parseStampDate(reading->text, latestYear)) return date;
            }
            if (!unread && looksLikeText(contrast, line)) unread = stampLinePicture(contrast, line);
        }
        if (side == 0) contrast.turnAround();
    }
    return unread ? dateInText(std::move(*unread), latestYear) : std::nullopt;
}

std::optional<CivilTime> TimestampDetectionService::dateInText(Bitmap line, int latestYear) {
    const auto found = vision_.recognizeText(std::make_shared<Bitmap>(std::move(line)),
                                             {.characters = "0123456789 '.-/ABCDEFGJLMNOPRSTUVY"});
    if (!found || found->size() != 1 || found->front().confidence < leastTextConfidence) return std::nullopt;
    return parseStampDate(withDigitsPutRight(found->front().text), latestYear);
}

std::optional<Instant> TimestampDetectionService::detectTimestamp(const Image& image) {
    const auto date = detectDate(*image);
    return date ? language_.fromLocalTime(*date) : std::nullopt;
}

}  // namespace kelvaris
