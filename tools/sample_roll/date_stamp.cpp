#include "sample_roll/date_stamp.h"

#include <array>

namespace kelvaris::sample_roll {

namespace {

struct Segment {
    float fromX;
    float fromY;
    float toX;
    float toY;
};

/// The seven lights of a digit in a box one high and half as wide, in the usual order a to g.
constexpr std::array<Segment, 7> segments = {{
    {0.0F, 0.0F, 0.5F, 0.0F},
    {0.5F, 0.0F, 0.5F, 0.5F},
    {0.5F, 0.5F, 0.5F, 1.0F},
    {0.0F, 1.0F, 0.5F, 1.0F},
    {0.0F, 0.5F, 0.0F, 1.0F},
    {0.0F, 0.0F, 0.0F, 0.5F},
    {0.0F, 0.5F, 0.5F, 0.5F},
}};

/// Which lights burn for the digits 0 to 9; bit 0 is light a.
constexpr std::array<unsigned, 10> digitLights = {0x3F, 0x06, 0x5B, 0x4F, 0x66, 0x6D, 0x7D, 0x07, 0x7F, 0x6F};

/// Lights lean to the right and leave a gap where they meet.
constexpr float lean = 0.1F;
constexpr float gap = 0.07F;

struct Pen {
    Raster& raster;
    const DateStamp& stamp;
    float left;
    float top;

    void light(const Segment& segment) const {
        const float size = stamp.digitHeight;
        const auto placeX = [&](float x, float y) { return left + ((x + (lean * (1 - y))) * size); };
        const auto placeY = [&](float y) { return top + (y * size); };
        const float fromX = placeX(segment.fromX, segment.fromY);
        const float fromY = placeY(segment.fromY);
        const float toX = placeX(segment.toX, segment.toY);
        const float toY = placeY(segment.toY);
        const float half = size * stamp.thickness * 0.5F;
        const Box box{std::min(fromX, toX) - half, std::min(fromY, toY) - half, std::max(fromX, toX) + half,
                      std::max(fromY, toY) + half};
        // Light adds to what is there, so the shape is laid down as a sum and not as a cover.
        const float scale = static_cast<float>(raster.height());
        const float edge = std::max(raster.pixel() * 1.5F, half * 0.5F);
        const int firstRow = std::max(0, static_cast<int>((box.top - edge) * scale));
        const int lastRow = std::min(raster.height() - 1, static_cast<int>((box.bottom + edge) * scale) + 1);
        const int firstColumn = std::max(0, static_cast<int>((box.left - edge) * scale));
        const int lastColumn = std::min(raster.width() - 1, static_cast<int>((box.right + edge) * scale) + 1);
        for (int y = firstRow; y <= lastRow; ++y) {
            float* row = raster.row(y);
            for (int x = firstColumn; x <= lastColumn; ++x) {
                const float distance =
                    strokeDistance(fromX, fromY, toX, toY, half, (static_cast<float>(x) + 0.5F) / scale,
                                   (static_cast<float>(y) + 0.5F) / scale);
                const float share = std::clamp(0.5F - (distance / edge), 0.0F, 1.0F);
                row[(x * 3) + 0] += stamp.light.red * share;
                row[(x * 3) + 1] += stamp.light.green * share;
                row[(x * 3) + 2] += stamp.light.blue * share;
            }
        }
    }
};

/// Room that a character takes, in digit heights.
float advance(char character) {
    switch (character) {
        case '\'':
            return 0.34F;
        case '.':
        case ':':
            return 0.32F;
        default:
            return 0.78F;
    }
}

void drawCharacter(const Pen& pen, char character) {
    if (character >= '0' && character <= '9') {
        const unsigned lights = digitLights[static_cast<std::size_t>(character - '0')];
        for (std::size_t index = 0; index < segments.size(); ++index) {
            if ((lights >> index & 1U) == 0) {
                continue;
            }
            Segment segment = segments[index];
            const float dx = segment.toX > segment.fromX ? gap : 0;
            const float dy = segment.toY > segment.fromY ? gap : 0;
            pen.light({segment.fromX + dx, segment.fromY + dy, segment.toX - dx, segment.toY - dy});
        }
        return;
    }
    switch (character) {
        case '\'':
            pen.light({0.06F, -0.02F, 0.03F, 0.2F});
            break;
        case '.':
            pen.light({0.02F, 0.98F, 0.05F, 0.98F});
            break;
        case ':':
            pen.light({0.04F, 0.3F, 0.05F, 0.3F});
            pen.light({0.04F, 0.72F, 0.05F, 0.72F});
            break;
        case '-':
            pen.light({0.08F, 0.5F, 0.42F, 0.5F});
            break;
        case '/':
            pen.light({0.05F, 0.98F, 0.4F, 0.02F});
            break;
        default:
            break;
    }
}

}  // namespace

void paintDateStamp(Raster& raster, const DateStamp& stamp) {
    float width = 0;
    for (const char character : stamp.text) {
        width += advance(character) * stamp.digitHeight;
    }
    const bool right = stamp.corner == StampCorner::bottomRight || stamp.corner == StampCorner::topRight;
    const bool bottom = stamp.corner == StampCorner::bottomRight || stamp.corner == StampCorner::bottomLeft;
    float left = right ? raster.aspect() - stamp.margin - width : stamp.margin;
    const float top = bottom ? 1 - stamp.margin - stamp.digitHeight : stamp.margin;
    for (const char character : stamp.text) {
        drawCharacter(Pen{raster, stamp, left, top}, character);
        left += advance(character) * stamp.digitHeight;
    }
}

}  // namespace kelvaris::sample_roll
