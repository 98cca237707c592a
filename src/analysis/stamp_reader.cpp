#include "analysis/stamp_reader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>

namespace kelvaris {

namespace {

/// Contrast below this is noise of the film.
constexpr float leastContrast = 26;
/// Red below this does not come from a light.
constexpr int leastRed = 120;

/// The mean over a square around each pixel, edges repeated.
FloatPlane boxBlurred(const FloatPlane& plane, int radius) {
    const float weight = 1.0F / static_cast<float>((2 * radius) + 1);
    const auto row = [](auto& owner, int y) {
        return owner.values.data() +
               (static_cast<std::ptrdiff_t>(std::clamp(y, 0, owner.height - 1)) * owner.width);
    };
    FloatPlane rows{plane.width, plane.height, std::vector<float>(plane.values.size())};
    // One more value than the square reaches, since the sum moves on behind the last pixel, too.
    const int reach = radius + 1;
    std::vector<float> extended(static_cast<std::size_t>(plane.width + (2 * reach)));
    for (int y = 0; y < plane.height; ++y) {
        const float* source = row(plane, y);
        std::fill_n(extended.begin(), reach, source[0]);
        std::copy_n(source, plane.width, extended.begin() + reach);
        std::fill_n(extended.end() - reach, reach, source[plane.width - 1]);
        const float* middle = extended.data() + reach;
        float* target = row(rows, y);
        float sum = 0;
        for (int x = -radius; x <= radius; ++x) sum += middle[x];
        for (int x = 0; x < plane.width; ++x) {
            target[x] = sum * weight;
            sum += middle[x + reach] - middle[x - radius];
        }
    }
    FloatPlane result{plane.width, plane.height, std::vector<float>(plane.values.size())};
    std::vector<float> sums(static_cast<std::size_t>(plane.width));
    const auto add = [&](int y, float sign) {
        const float* source = row(rows, y);
        for (std::size_t x = 0; x < sums.size(); ++x) sums[x] += sign * source[x];
    };
    for (int y = -radius; y <= radius; ++y) add(y, 1);
    for (int y = 0; y < plane.height; ++y) {
        float* target = row(result, y);
        for (std::size_t x = 0; x < sums.size(); ++x) target[x] = sums[x] * weight;
        add(y + radius + 1, 1);
        add(y - radius, -1);
    }
    return result;
}

/// Boxes of the connected areas at or above the threshold. Two areas one empty row apart are one: the
/// halves of a digit meet only in thin corners.
std::vector<PixelBox> components(const FloatPlane& contrast, float threshold) {
    std::vector<std::uint8_t> state(contrast.values.size());
    // No stamp stands in the middle third.
    const int third = contrast.height / 3;
    const auto isOutside = [&](int y) { return y < third || y >= contrast.height - third; };
    for (int y = 0; y < contrast.height; ++y) {
        if (!isOutside(y)) continue;
        const std::size_t start = static_cast<std::size_t>(y) * static_cast<std::size_t>(contrast.width);
        for (std::size_t index = start; index < start + static_cast<std::size_t>(contrast.width); ++index) {
            state[index] = contrast.values[index] >= threshold ? 1 : 0;
        }
    }
    std::vector<PixelBox> boxes;
    std::vector<std::pair<int, int>> stack;
    for (int y = 0; y < contrast.height; ++y) {
        if (!isOutside(y)) continue;
        for (int x = 0; x < contrast.width; ++x) {
            const auto cell = [&](int column, int row) -> std::uint8_t& {
                return state[(static_cast<std::size_t>(row) * static_cast<std::size_t>(contrast.width)) +
                             static_cast<std::size_t>(column)];
            };
            if (cell(x, y) != 1) continue;
            PixelBox box{x, y, x + 1, y + 1};
            cell(x, y) = 2;
            stack.emplace_back(x, y);
            while (!stack.empty()) {
                const auto [column, row] = stack.back();
                stack.pop_back();
                box = {std::min(box.left, column), std::min(box.top, row), std::max(box.right, column + 1),
                       std::max(box.bottom, row + 1)};
                for (int dy = -2; dy <= 2; ++dy) {
                    for (int dx = -1; dx <= 1; ++dx) {
                        const int nextX = column + dx;
                        const int nextY = row + dy;
                        if (nextX < 0 || nextY < 0 || nextX >= contrast.width || nextY >= contrast.height)
                            continue;
                        if (cell(nextX, nextY) != 1) continue;
                        cell(nextX, nextY) = 2;
                        stack.emplace_back(nextX, nextY);
                    }
                }
            }
            boxes.push_back(box);
        }
    }
    return boxes;
}

PixelBox united(const PixelBox& a, const PixelBox& b) {
    return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
            std::max(a.bottom, b.bottom)};
}

/// Unites boxes that share columns, which are parts of one glyph. From the left.
std::vector<PixelBox> mergedByColumns(std::vector<PixelBox> boxes) {
    std::sort(boxes.begin(), boxes.end(), [](const auto& a, const auto& b) { return a.left < b.left; });
    std::vector<PixelBox> merged;
    for (const PixelBox& box : boxes) {
        if (!merged.empty()) {
            const int shared = std::min(merged.back().right, box.right) - box.left;
            if (shared > 0 && shared * 2 >= std::min(merged.back().width(), box.width())) {
                merged.back() = united(merged.back(), box);
                continue;
            }
        }
        merged.push_back(box);
    }
    return merged;
}

/// The line that a glyph would stand in: everything between about its top and its bottom, as far as no
/// gap is wider than the blanks of a stamp.
std::optional<StampLine> lineThrough(const PixelBox& seed, const std::vector<PixelBox>& boxes) {
    const int height = seed.height();
    const int slack = std::max(1, height / 6);
    std::vector<PixelBox> inside;
    for (const PixelBox& box : boxes) {
        if (box.top >= seed.top - slack && box.bottom <= seed.bottom + slack) inside.push_back(box);
    }
    inside = mergedByColumns(std::move(inside));
    const auto own = std::find_if(inside.begin(), inside.end(), [&](const auto& box) {
        return box.left <= seed.left && box.right >= seed.right;
    });
    if (own == inside.end()) return std::nullopt;
    const int widestGap = height * 5 / 2;
    auto first = own;
    while (first != inside.begin() && first->left - std::prev(first)->right <= widestGap) --first;
    auto last = own;
    while (std::next(last) != inside.end() && std::next(last)->left - last->right <= widestGap) ++last;

    StampLine line{.top = seed.top, .bottom = seed.bottom, .glyphs = {}, .marks = {}};
    for (auto box = first; box != std::next(last); ++box) {
        if (box->height() * 4 >= height * 3) {
            line.glyphs.push_back(*box);
        } else {
            line.marks.push_back(*box);
        }
    }
    if (line.glyphs.empty()) return std::nullopt;
    // The middle of the glyphs' own edges is surer than one glyph's.
    std::vector<int> tops;
    std::vector<int> bottoms;
    for (const PixelBox& glyph : line.glyphs) {
        tops.push_back(glyph.top);
        bottoms.push_back(glyph.bottom);
    }
    std::nth_element(tops.begin(), tops.begin() + static_cast<std::ptrdiff_t>(tops.size() / 2), tops.end());
    std::nth_element(bottoms.begin(), bottoms.begin() + static_cast<std::ptrdiff_t>(bottoms.size() / 2),
                     bottoms.end());
    line.top = tops[tops.size() / 2];
    line.bottom = bottoms[bottoms.size() / 2];
    return line;
}

/// Where the lights of a digit are looked for, in shares of its cell; a to g, then the two holes.
struct Probe {
    float x;
    float y;
    float halfWidth;
    float halfHeight;
};
constexpr std::array<Probe, 9> probes = {{
    {0.50F, 0.06F, 0.16F, 0.03F},
    {0.90F, 0.27F, 0.04F, 0.10F},
    {0.90F, 0.73F, 0.04F, 0.10F},
    {0.50F, 0.94F, 0.16F, 0.03F},
    {0.10F, 0.73F, 0.04F, 0.10F},
    {0.10F, 0.27F, 0.04F, 0.10F},
    {0.50F, 0.50F, 0.16F, 0.03F},
    {0.50F, 0.28F, 0.08F, 0.05F},
    {0.50F, 0.72F, 0.08F, 0.05F},
}};

struct DigitPattern {
    unsigned lights;  ///< bit 0 is light a; the holes never burn
    char digit;
};
/// With the other ways in which cameras draw 6, 7 and 9.
constexpr std::array<DigitPattern, 13> digitPatterns = {{{0x3F, '0'},
                                                         {0x06, '1'},
                                                         {0x5B, '2'},
                                                         {0x4F, '3'},
                                                         {0x66, '4'},
                                                         {0x6D, '5'},
                                                         {0x7D, '6'},
                                                         {0x7C, '6'},
                                                         {0x07, '7'},
                                                         {0x27, '7'},
                                                         {0x7F, '8'},
                                                         {0x6F, '9'},
                                                         {0x67, '9'}}};

/// A light that burns more than this before a bright ground may well be one that should count.
constexpr float brightestDark = 0.3F;

struct Cells {
    float width = 0;  ///< of an upright digit
    float slant = 0;  ///< how far the top leans to the right, in heights
    float top = 0;
    float height = 0;
};

struct DigitReading {
    char digit = 0;
    double confidence = -1;
};

/// The digit whose cell ends at the right edge of a glyph.
DigitReading readDigit(const FloatPlane& contrast, const Cells& cells, float right) {
    std::array<float, probes.size()> lights{};
    for (std::size_t index = 0; index < probes.size(); ++index) {
        const Probe& probe = probes[index];
        float sum = 0;
        for (int row = -1; row <= 1; ++row) {
            for (int column = -1; column <= 1; ++column) {
                const float u = probe.x + (probe.halfWidth * static_cast<float>(column));
                const float v = probe.y + (probe.halfHeight * static_cast<float>(row));
                sum += contrast.sample(right - ((1 - u) * cells.width) - (v * cells.slant * cells.height),
                                       cells.top + (v * cells.height));
            }
        }
        lights[index] = sum / 9;
    }
    const float brightest = *std::max_element(lights.begin(), lights.end());
    DigitReading best;
    if (brightest < leastContrast / 2) return best;
    for (const DigitPattern& pattern : digitPatterns) {
        float faintest = 1;
        float strongest = 0;
        for (std::size_t index = 0; index < lights.size(); ++index) {
            const float share = std::max(lights[index], 0.0F) / brightest;
            if ((pattern.lights >> index & 1U) != 0) {
                faintest = std::min(faintest, share);
            } else {
                strongest = std::max(strongest, share);
            }
        }
        if (strongest <= brightestDark && faintest - strongest > best.confidence) {
            best = {pattern.digit, faintest - strongest};
        }
    }
    return best;
}

/// Glyphs that ran into each other are cut along the faintest line that leans as digits do.
std::vector<PixelBox> separated(const FloatPlane& contrast, const StampLine& line) {
    constexpr float usualSlant = 0.1F;
    const auto height = static_cast<float>(line.height());
    const auto brightness = [&](int x) {
        float sum = 0;
        for (int y = line.top; y < line.bottom; ++y) {
            const float lean =
                usualSlant * ((static_cast<float>(line.top + line.bottom) / 2) - static_cast<float>(y));
            sum += contrast.sample(static_cast<float>(x) + 0.5F + lean, static_cast<float>(y) + 0.5F);
        }
        return sum;
    };
    std::vector<PixelBox> result;
    for (PixelBox glyph : line.glyphs) {
        while (static_cast<float>(glyph.width()) > 0.84F * height) {
            const int first = glyph.left + static_cast<int>(0.2F * height);
            const int last = std::min(glyph.right - static_cast<int>(0.2F * height),
                                      glyph.left + static_cast<int>(0.9F * height));
            int cut = first;
            for (int x = first + 1; x <= last; ++x) {
                if (brightness(x) < brightness(cut)) cut = x;
            }
            result.push_back({glyph.left, glyph.top, cut, glyph.bottom});
            glyph.left = cut + 1;
        }
        result.push_back(glyph);
    }
    return result;
}

/// The mark that stands between two columns, as the grammar knows it.
char markBetween(const StampLine& line, int from, int to) {
    for (const PixelBox& mark : line.marks) {
        if (mark.left < from || mark.right > to) continue;
        const int middle = (mark.top + mark.bottom) / 2;
        const bool small = mark.height() * 3 < line.height();
        if (small && middle > line.top + (line.height() * 3 / 4)) return '.';
        if (small && std::abs(middle - ((line.top + line.bottom) / 2)) * 4 < line.height()) return '-';
    }
    return ' ';
}

/// Whether a small mark stands high up, close before a column.
bool apostropheBefore(const StampLine& line, int from, int to) {
    return std::any_of(line.marks.begin(), line.marks.end(), [&](const PixelBox& mark) {
        return mark.left >= from && mark.right <= to && mark.height() * 2 <= line.height() &&
               mark.bottom <= line.top + (line.height() * 3 / 5) &&
               mark.top <= line.top + (line.height() / 4);
    });
}

/// Puts blanks and marks where the digits stand further apart than in a number.
std::string spacedText(const StampLine& line, const std::vector<PixelBox>& glyphs,
                       const std::string& digits) {
    int pitch = INT32_MAX;
    for (std::size_t index = 1; index < glyphs.size(); ++index) {
        pitch = std::min(pitch, glyphs[index].right - glyphs[index - 1].right);
    }
    std::string text;
    for (std::size_t index = 0; index < glyphs.size(); ++index) {
        const int from = index == 0 ? 0 : glyphs[index - 1].right - 1;
        if (index > 0) {
            const char mark = markBetween(line, from, glyphs[index].left + 1);
            const bool apart = (glyphs[index].right - glyphs[index - 1].right) * 4 > pitch * 5;
            if (mark != ' ' || apart) text += mark;
        }
        // In a number, only the first digit can have an apostrophe before it.
        const bool first = index == 0 || !(text.back() >= '0' && text.back() <= '9');
        if (first && apostropheBefore(line, from, glyphs[index].left + (line.height() / 5))) text += '\'';
        text += digits[index];
    }
    return text;
}

}  // namespace

float FloatPlane::sample(float x, float y) const {
    x -= 0.5F;
    y -= 0.5F;
    const int column = static_cast<int>(std::floor(x));
    const int row = static_cast<int>(std::floor(y));
    if (column < 0 || row < 0 || column + 1 >= width || row + 1 >= height) return 0;
    const float u = x - static_cast<float>(column);
    const float v = y - static_cast<float>(row);
    return std::lerp(std::lerp(at(column, row), at(column + 1, row), u),
                     std::lerp(at(column, row + 1), at(column + 1, row + 1), u), v);
}

FloatPlane FloatPlane::turnedClockwise() const {
    FloatPlane result{height, width, std::vector<float>(values.size())};
    const auto side = static_cast<std::size_t>(height);
    const float* value = values.data();
    for (std::size_t y = 0; y < side; ++y) {
        float* column = result.values.data() + (side - 1 - y);
        for (int x = 0; x < width; ++x, column += side) *column = *value++;
    }
    return result;
}

void FloatPlane::turnAround() { std::ranges::reverse(values); }

PixelBox StampLine::box() const {
    PixelBox result = glyphs.front();
    for (const PixelBox& glyph : glyphs) result = united(result, glyph);
    for (const PixelBox& mark : marks) result = united(result, mark);
    return result;
}

FloatPlane stampContrast(const Bitmap& bitmap) {
    FloatPlane warmth{bitmap.width, bitmap.height, {}};
    if (bitmap.channels != 3) return FloatPlane{};
    warmth.values.reserve(bitmap.pixels.size() / 3);
    for (std::size_t index = 0; index + 2 < bitmap.pixels.size(); index += 3) {
        warmth.values.push_back(static_cast<float>(bitmap.pixels[index]) -
                                static_cast<float>(bitmap.pixels[index + 2]));
    }
    const FloatPlane ground = boxBlurred(warmth, std::max(4, bitmap.height / 24));
    FloatPlane contrast = warmth;
    for (std::size_t index = 0; index < contrast.values.size(); ++index) {
        const int red = bitmap.pixels[index * 3];
        const int green = bitmap.pixels[(index * 3) + 1];
        const bool light = red >= leastRed && red + 8 >= green;
        contrast.values[index] = light ? std::max(0.0F, warmth.values[index] - ground.values[index]) : 0;
    }
    return contrast;
}

std::vector<StampLine> findStampLines(const FloatPlane& contrast) {
    constexpr std::size_t mostLines = 6;
    constexpr std::size_t mostComponents = 1500;
    std::vector<StampLine> lines;
    if (contrast.width < 64 || contrast.height < 64) return lines;
    // Stamps burn about evenly, so half of the strongest contrast parts them from their glow. Two
    // thresholds serve strong and faint stamps.
    std::vector<float> sorted;
    sorted.reserve(contrast.values.size() / 3 + 1);
    for (std::size_t index = 0; index < contrast.values.size(); index += 3)
        sorted.push_back(contrast.values[index]);
    const auto rank = static_cast<std::ptrdiff_t>(static_cast<double>(sorted.size()) * 0.9995);
    std::nth_element(sorted.begin(), sorted.begin() + rank, sorted.end());
    const float strong = sorted[static_cast<std::size_t>(rank)];
    if (strong < leastContrast) return lines;
    float last = 0;
    for (const float share : {0.5F, 0.32F}) {
        const float threshold = std::max(leastContrast, strong * share);
        if (threshold == std::exchange(last, threshold)) break;
        const std::vector<PixelBox> boxes = components(contrast, threshold);
        if (boxes.size() > mostComponents) continue;
        for (const PixelBox& seed : boxes) {
            const int height = seed.height();
            if (height < 8 || height * 12 > contrast.height || seed.width() > height) continue;
            auto line = lineThrough(seed, boxes);
            if (!line || line->height() < 8 || line->glyphs.size() < 3 || line->glyphs.size() > 10) continue;
            const bool known = std::any_of(lines.begin(), lines.end(), [&](const StampLine& each) {
                return each.glyphs.size() == line->glyphs.size() && each.box().left == line->box().left &&
                       std::abs(each.top - line->top) <= 1;
            });
            if (!known) lines.push_back(std::move(*line));
            if (lines.size() >= mostLines * 3) break;
        }
    }
    std::stable_sort(lines.begin(), lines.end(),
                     [](const auto& a, const auto& b) { return a.glyphs.size() > b.glyphs.size(); });
    if (lines.size() > mostLines) lines.resize(mostLines);
    return lines;
}

std::optional<SegmentText> readSevenSegments(const FloatPlane& contrast, const StampLine& line) {
    const std::vector<PixelBox> glyphs = separated(contrast, line);
    if (glyphs.size() < 4 || glyphs.size() > 8) return std::nullopt;
    const auto height = static_cast<float>(line.height());
    // Ones show no whole cell, and an apostrophe may have run into the digit after it.
    std::vector<float> widths;
    for (const PixelBox& glyph : glyphs) {
        const auto width = static_cast<float>(glyph.width());
        if (width >= 0.45F * height && width <= 0.8F * height) widths.push_back(width);
    }
    std::sort(widths.begin(), widths.end());
    const float whole = widths.empty() ? 0.66F * height : widths[widths.size() / 2];

    std::optional<SegmentText> best;
    for (const float slant : {0.0F, 0.06F, 0.1F, 0.14F, 0.18F}) {
        const Cells cells{whole - (slant * height), slant, static_cast<float>(line.top), height};
        std::string digits;
        double weakest = 1;
        for (const PixelBox& glyph : glyphs) {
            const DigitReading reading = readDigit(contrast, cells, static_cast<float>(glyph.right));
            digits += reading.digit;
            weakest = std::min(weakest, reading.confidence);
        }
        if (weakest > 0 && (!best || weakest > best->confidence)) {
            best = SegmentText{spacedText(line, glyphs, digits), weakest};
        }
    }
    return best;
}

bool looksLikeText(const FloatPlane& contrast, const StampLine& line) {
    constexpr float leastMean = 40;
    const int height = line.height();
    if (line.glyphs.size() < 6 || line.box().width() * 2 < height * 7 || line.box().width() > height * 16)
        return false;
    float sum = 0;
    std::size_t count = 0;
    for (const PixelBox& glyph : line.glyphs) {
        if (std::abs(glyph.height() - height) * 5 > height || glyph.width() > height) return false;
        for (int y = glyph.top; y < glyph.bottom; ++y) {
            for (int x = glyph.left; x < glyph.right; ++x) sum += contrast.at(x, y);
        }
        count += static_cast<std::size_t>(glyph.width()) * static_cast<std::size_t>(glyph.height());
    }
    return sum >= leastMean * static_cast<float>(count);
}

Bitmap stampLinePicture(const FloatPlane& contrast, const StampLine& line) {
    constexpr float glyphHeight = 40;
    constexpr int border = 16;
    const PixelBox box = line.box();
    const float scale = glyphHeight / static_cast<float>(line.height());
    Bitmap picture{static_cast<int>(static_cast<float>(box.width()) * scale) + (2 * border),
                   static_cast<int>(static_cast<float>(box.height()) * scale) + (2 * border),
                   1,
                   {}};
    float strongest = leastContrast;
    for (int y = box.top; y < box.bottom; ++y) {
        for (int x = box.left; x < box.right; ++x) strongest = std::max(strongest, contrast.at(x, y));
    }
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            const float value =
                contrast.sample(static_cast<float>(box.left) + (static_cast<float>(x - border) / scale),
                                static_cast<float>(box.top) + (static_cast<float>(y - border) / scale));
            picture.pixels.push_back(
                static_cast<std::uint8_t>(255 - std::lround(std::min(1.0F, 1.3F * value / strongest) * 255)));
        }
    }
    return picture;
}

}  // namespace kelvaris
