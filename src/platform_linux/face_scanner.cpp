#include "platform_linux/face_scanner.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <utility>

#include "platform_linux/wide_kernels.h"

namespace kelvaris {
namespace {

constexpr int smallestSide = 64;
constexpr int bandRows = 32;
/// Of the sixty or so products of a template these carry more than four fifths of its weight.
constexpr std::size_t glanceProducts = 24;
/// A place is looked at whole when the glance gives this part of the threshold. What the other products
/// added or took away was never found to be even half of what would be missing.
constexpr float leastGlance = 0.4F;
constexpr double levelStep = 6.0 / 5.0;
/// From the outermost corner of a window's first cell to that cell's middle, and from there to the
/// middle of its last cell: the detector's own idea of where a face ends.
constexpr int cellMiddle = 5;
constexpr int faceSide = (FaceTemplate::side - 1) * GradientFeatures::cellSide;
/// Places that share more than these parts of their union, or of either, are one face.
constexpr double largestSharedUnion = 0.33;
constexpr double largestCovered = 0.7886;

using AllTaps = std::make_index_sequence<FaceTemplate::side>;

template <std::size_t... Tap>
KELVARIS_INLINED float weighedRow(const float* values, const float* taps, std::index_sequence<Tap...>) {
    return ((values[Tap] * taps[Tap]) + ...);
}

template <std::size_t... Tap>
KELVARIS_INLINED float weighedColumn(const float* values, std::ptrdiff_t stride, const float* taps,
                                     std::index_sequence<Tap...>) {
    return ((values[static_cast<std::ptrdiff_t>(Tap) * stride] * taps[Tap]) + ...);
}

KELVARIS_INLINED void filterRow(const float* line, const FaceTemplate::Taps& given, int count,
                                float* __restrict out) {
    const FaceTemplate::Taps taps = given;
    for (int x = 0; x < count; ++x) out[x] = weighedRow(line + x, taps.data(), AllTaps());
}

KELVARIS_INLINED void addFilteredColumn(const float* lines, std::ptrdiff_t stride,
                                        const FaceTemplate::Taps& given, int count, float* __restrict sums) {
    const FaceTemplate::Taps taps = given;
    for (int x = 0; x < count; ++x) sums[x] += weighedColumn(lines + x, stride, taps.data(), AllTaps());
}

KELVARIS_INLINED float weighedWindow(const float* first, std::ptrdiff_t stride, std::ptrdiff_t planeSize,
                                     const std::array<float, FaceTemplate::lineLength>* lines) {
    std::array<float, FaceTemplate::lineLength> sums{};
    for (int plane = 0; plane < GradientFeatures::planeCount; ++plane, first += planeSize) {
        const float* values = first;
        for (int y = 0; y < FaceTemplate::side; ++y, values += stride, ++lines) {
            for (std::size_t x = 0; x < sums.size(); ++x) sums[x] += values[x] * (*lines)[x];
        }
    }
    float sum = 0;
    for (const float each : sums) sum += each;
    return sum;
}

KELVARIS_WIDE float weighedWindowWide(const float* first, std::ptrdiff_t stride, std::ptrdiff_t planeSize,
                                      const std::array<float, FaceTemplate::lineLength>* lines) {
    return weighedWindow(first, stride, planeSize, lines);
}
float weighedWindowNarrow(const float* first, std::ptrdiff_t stride, std::ptrdiff_t planeSize,
                          const std::array<float, FaceTemplate::lineLength>* lines) {
    return weighedWindow(first, stride, planeSize, lines);
}

KELVARIS_WIDE void filterRowWide(const float* line, const FaceTemplate::Taps& taps, int count, float* out) {
    filterRow(line, taps, count, out);
}
KELVARIS_WIDE void addFilteredColumnWide(const float* lines, std::ptrdiff_t stride,
                                         const FaceTemplate::Taps& taps, int count, float* sums) {
    addFilteredColumn(lines, stride, taps, count, sums);
}
void filterRowNarrow(const float* line, const FaceTemplate::Taps& taps, int count, float* out) {
    filterRow(line, taps, count, out);
}
void addFilteredColumnNarrow(const float* lines, std::ptrdiff_t stride, const FaceTemplate::Taps& taps,
                             int count, float* sums) {
    addFilteredColumn(lines, stride, taps, count, sums);
}

double area(const FacePlace& place) {
    return std::max(0.0, place.right - place.left) * std::max(0.0, place.bottom - place.top);
}

bool areOneFace(const FacePlace& a, const FacePlace& b) {
    const FacePlace shared{.left = std::max(a.left, b.left),
                           .top = std::max(a.top, b.top),
                           .right = std::min(a.right, b.right),
                           .bottom = std::min(a.bottom, b.bottom)};
    const double inner = area(shared);
    if (inner == 0) return false;
    const FacePlace both{.left = std::min(a.left, b.left),
                         .top = std::min(a.top, b.top),
                         .right = std::max(a.right, b.right),
                         .bottom = std::max(a.bottom, b.bottom)};
    return inner > largestSharedUnion * area(both) || inner > largestCovered * std::min(area(a), area(b));
}

std::vector<FacePlace> withoutOverlaps(std::vector<FacePlace> found) {
    std::stable_sort(found.begin(), found.end(),
                     [](const FacePlace& a, const FacePlace& b) { return a.score > b.score; });
    std::vector<FacePlace> kept;
    for (const FacePlace& place : found) {
        const bool isKnown = std::any_of(kept.begin(), kept.end(),
                                         [&](const FacePlace& other) { return areOneFace(other, place); });
        if (!isKnown) kept.push_back(place);
    }
    return kept;
}

struct Mix {
    int from;
    int weight;  ///< of the next pixel, in parts of 256
};

std::vector<Mix> mixes(int from, int to) {
    std::vector<Mix> result;
    for (int index = 0; index < to; ++index) {
        const double place = std::clamp(((index + 0.5) * from / to) - 0.5, 0.0, from - 1.0);
        const int first = std::min(static_cast<int>(place), std::max(from - 2, 0));
        result.push_back({first, from == 1 ? 0 : static_cast<int>(std::lround((place - first) * 256))});
    }
    return result;
}

}  // namespace

float FaceTemplate::Product::strength() const {
    const auto squares = [](const Taps& taps) {
        return std::inner_product(taps.begin(), taps.end(), taps.begin(), 0.0F);
    };
    return squares(row) * squares(column);
}

FaceTemplate FaceTemplate::make(std::vector<Product> all, float threshold) {
    FaceTemplate face;
    face.threshold = threshold;
    face.lines.resize(static_cast<std::size_t>(GradientFeatures::planeCount) * side);
    for (const Product& product : all) {
        auto* lines = face.lines.data() + (static_cast<std::size_t>(product.plane) * side);
        for (std::size_t y = 0; y < side; ++y) {
            for (std::size_t x = 0; x < side; ++x) lines[y][x] += product.column[y] * product.row[x];
        }
    }
    std::ranges::stable_sort(all, std::greater(), &Product::strength);
    all.resize(std::min(all.size(), glanceProducts));
    std::ranges::stable_sort(all, {}, &Product::plane);
    face.glance = std::move(all);
    return face;
}

GreyPlane resized(const GreyPlane& picture, int width, int height) {
    GreyPlane result{width, height, std::vector<std::uint8_t>(static_cast<std::size_t>(width) * height)};
    const auto columns = mixes(picture.width, width);
    const auto rows = mixes(picture.height, height);
    std::vector<std::uint16_t> mixed(static_cast<std::size_t>(picture.width) + 1);
    for (int y = 0; y < height; ++y) {
        const Mix row = rows[static_cast<std::size_t>(y)];
        const std::uint8_t* above = picture.line(row.from);
        const std::uint8_t* below = picture.line(std::min(row.from + 1, picture.height - 1));
        for (int x = 0; x < picture.width; ++x) {
            mixed[static_cast<std::size_t>(x)] =
                static_cast<std::uint16_t>((above[x] * (256 - row.weight)) + (below[x] * row.weight));
        }
        std::uint8_t* out = result.line(y);
        for (const Mix& column : columns) {
            const std::uint16_t* at = mixed.data() + column.from;
            *out++ = static_cast<std::uint8_t>((at[0] * static_cast<unsigned>(256 - column.weight) +
                                                at[1] * static_cast<unsigned>(column.weight) + 32768) >>
                                               16);
        }
    }
    return result;
}

GreyPlane fiveSixths(const GreyPlane& picture) {
    // The middle of each of five pixels lies so many tenths behind that of the one of six with its number.
    constexpr std::array<unsigned, 5> tenths = {1, 3, 5, 7, 9};
    GreyPlane result{picture.width * 5 / 6, picture.height * 5 / 6, {}};
    result.pixels.resize(static_cast<std::size_t>(result.width) * result.height);
    std::vector<std::uint16_t> mixed(static_cast<std::size_t>(picture.width) + 6);
    for (int y = 0; y < result.height; ++y) {
        const unsigned share = tenths[static_cast<std::size_t>(y % 5)];
        const std::uint8_t* above = picture.line((y / 5 * 6) + (y % 5));
        const std::uint8_t* below = above + picture.width;
        for (int x = 0; x < picture.width; ++x) {
            mixed[static_cast<std::size_t>(x)] =
                static_cast<std::uint16_t>((above[x] * (10 - share)) + (below[x] * share));
        }
        const std::uint16_t* in = mixed.data();
        std::uint8_t* out = result.line(y);
        int x = 0;
        for (; x + 5 <= result.width; x += 5, in += 6) {
            for (std::size_t i = 0; i < tenths.size(); ++i) {
                *out++ = static_cast<std::uint8_t>(
                    ((in[i] * (10 - tenths[i])) + (in[i + 1] * tenths[i]) + 50) / 100);
            }
        }
        for (std::size_t i = 0; x < result.width; ++x, ++i) {
            *out++ =
                static_cast<std::uint8_t>(((in[i] * (10 - tenths[i])) + (in[i + 1] * tenths[i]) + 50) / 100);
        }
    }
    return result;
}

std::vector<FacePlace> FaceScanner::scan(const GreyPlane& picture, float leastScore) {
    std::vector<FacePlace> found;
    double scale = 1;
    GreyPlane smaller;
    for (const GreyPlane* level = &picture;;) {
        features_.compute(*level);
        scanLevel(scale, leastScore, found);
        GreyPlane next = fiveSixths(*level);
        if (next.width < smallestSide || next.height < smallestSide) break;
        smaller = std::move(next);
        level = &smaller;
        scale *= levelStep;
    }
    return withoutOverlaps(std::move(found));
}

void FaceScanner::scanLevel(double scale, float leastScore, std::vector<FacePlace>& found) {
    const int rows = features_.rows() - FaceTemplate::side + 1;
    const int columns = features_.columns() - FaceTemplate::side + 1;
    if (rows <= 0 || columns <= 0) return;
    for (int top = 0; top < rows; top += bandRows) {
        const int count = std::min(bandRows, rows - top);
        glanceAtBand(top, count, columns);
        const float* sum = sums_.data();
        for (const FaceTemplate& each : templates_) {
            for (int y = 0; y < count; ++y) {
                for (int x = 0; x < columns; ++x, ++sum) {
                    if (*sum < leastGlance * each.threshold) continue;
                    const float score = look(each, x, top + y) - each.threshold;
                    if (!(score >= leastScore)) continue;
                    const auto edge = [&](int cell) {
                        constexpr int skipped = GradientFeatures::borderBefore - 1;
                        return ((cell - skipped) * GradientFeatures::cellSide) + cellMiddle;
                    };
                    const double left = edge(x);
                    const double upper = edge(top + y);
                    found.push_back({.left = left * scale,
                                     .top = upper * scale,
                                     .right = (left + faceSide + 1) * scale,
                                     .bottom = (upper + faceSide + 1) * scale,
                                     .score = score});
                }
            }
        }
    }
}

float FaceScanner::look(const FaceTemplate& face, int x, int y) const {
    const auto weigh = hasWideRegisters() ? weighedWindowWide : weighedWindowNarrow;
    return weigh(features_.line(0, y) + x, features_.columns(), features_.line(1, y) - features_.line(0, y),
                 face.lines.data());
}

/// Band by band, so that a plane stays near the processor until every template has used it.
void FaceScanner::glanceAtBand(int top, int rows, int columns) {
    const int lines = rows + FaceTemplate::side - 1;
    const auto width = static_cast<std::size_t>(columns);
    filtered_.resize(width * lines);
    sums_.assign(width * rows * templates_.size(), 0);
    const auto filterLine = hasWideRegisters() ? filterRowWide : filterRowNarrow;
    const auto addColumns = hasWideRegisters() ? addFilteredColumnWide : addFilteredColumnNarrow;
    std::array<std::size_t, 16> next{};
    for (int plane = 0; plane < GradientFeatures::planeCount; ++plane) {
        for (std::size_t number = 0; number < templates_.size(); ++number) {
            const auto& products = templates_[number].glance;
            float* sums = sums_.data() + (number * width * rows);
            for (std::size_t& at = next[number]; at < products.size() && products[at].plane == plane; ++at) {
                const FaceTemplate::Product& product = products[at];
                for (int y = 0; y < lines; ++y) {
                    filterLine(features_.line(plane, top + y), product.row, columns,
                               filtered_.data() + (y * width));
                }
                for (int y = 0; y < rows; ++y) {
                    addColumns(filtered_.data() + (y * width), static_cast<std::ptrdiff_t>(width),
                               product.column, columns, sums + (y * width));
                }
            }
        }
    }
}

}  // namespace kelvaris
