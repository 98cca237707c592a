#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/images.h"

namespace kelvaris {

/// One value a pixel, rows from the top.
struct FloatPlane {
    int width = 0;
    int height = 0;
    std::vector<float> values;

    float at(int x, int y) const {
        return values[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width)) +
                      static_cast<std::size_t>(x)];
    }
    /// Between pixels; 0 outside.
    float sample(float x, float y) const;
    FloatPlane turnedClockwise() const;
    /// By half a turn.
    void turnAround();
};

/// A box of pixels, its right and bottom sides not included.
struct PixelBox {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    int width() const { return right - left; }
    int height() const { return bottom - top; }
};

/// Things of about one height that stand in a row.
struct StampLine {
    int top = 0;
    int bottom = 0;
    std::vector<PixelBox> glyphs;  ///< as high as the line, from the left
    std::vector<PixelBox> marks;   ///< less high: points, hyphens, apostrophes

    int height() const { return bottom - top; }
    PixelBox box() const;
};

/// A line of text with how sure the reader is: the gap between the faintest light that it took for
/// burning and the strongest that it took for dark, over all digits, in shares of the brightest.
struct SegmentText {
    std::string text;
    double confidence = 0;
};

/// How much more orange or red than its surroundings each pixel is, 0 to 255: red less blue above its
/// blurred ground, where red is strong and not below green. @param bitmap three channels.
FloatPlane stampContrast(const Bitmap& bitmap);

/// Rows of 3 to 10 digit-like things in the upper and the lower third, likeliest first.
std::vector<StampLine> findStampLines(const FloatPlane& contrast);

/// Reads a line as seven-segment digits; nothing when a glyph is none.
std::optional<SegmentText> readSevenSegments(const FloatPlane& contrast, const StampLine& line);

/// Whether a line that shows no segments is worth a text engine's time: 6 and more glyphs of one height
/// that burn evenly, in a row as long as a date.
bool looksLikeText(const FloatPlane& contrast, const StampLine& line);

/// The line alone, dark on light and enlarged to digits 40 pixels high, for a text engine.
Bitmap stampLinePicture(const FloatPlane& contrast, const StampLine& line);

}  // namespace kelvaris
