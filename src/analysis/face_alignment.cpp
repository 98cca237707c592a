#include "analysis/face_alignment.h"

#include <algorithm>
#include <cmath>

namespace kelvaris {
namespace {

/// Share of its sides by which a face's box grows, and by which its left lower corner moves back.
constexpr double boxGrowth = 0.3;
constexpr double cornerShift = boxGrowth / 2;
/// Samples along each axis that make one pixel of a face that is made smaller, at most.
constexpr int largestSampling = 16;

bool isFinite(const PixelPoint& point) { return std::isfinite(point.x) && std::isfinite(point.y); }

PixelPoint mean(std::span<const PixelPoint> points) {
    PixelPoint sum;
    for (const PixelPoint& point : points) sum = {sum.x + point.x, sum.y + point.y};
    const auto count = static_cast<double>(points.size());
    return {sum.x / count, sum.y / count};
}

/// Adds the picture's colour at a point, weighed by the pixels around; nothing from outside.
void addSample(const Bitmap& bitmap, double x, double y, std::array<double, 3>& sum) {
    // Between the middles of pixels.
    const double left = std::floor(x - 0.5);
    const double top = std::floor(y - 0.5);
    const double shareX = x - 0.5 - left;
    const double shareY = y - 0.5 - top;
    for (int corner = 0; corner < 4; ++corner) {
        const bool isRight = (corner & 1) != 0;
        const bool isLower = (corner & 2) != 0;
        const double column = left + (isRight ? 1 : 0);
        const double row = top + (isLower ? 1 : 0);
        if (column < 0 || row < 0 || column >= bitmap.width || row >= bitmap.height) continue;
        const double weight = (isRight ? shareX : 1 - shareX) * (isLower ? shareY : 1 - shareY);
        const std::size_t at = ((static_cast<std::size_t>(row) * static_cast<std::size_t>(bitmap.width)) +
                                static_cast<std::size_t>(column)) *
                               static_cast<std::size_t>(bitmap.channels);
        for (std::size_t channel = 0; channel < 3; ++channel) {
            sum[channel] += weight * bitmap.pixels[at + (bitmap.channels == 3 ? channel : 0)];
        }
    }
}

}  // namespace

std::optional<FivePoints> extractFivePoints(const FaceLandmarks& landmarks) {
    for (const auto* group :
         {&landmarks.leftEye, &landmarks.rightEye, &landmarks.nose, &landmarks.outerLips}) {
        if (group->empty() || !std::ranges::all_of(*group, isFinite)) return std::nullopt;
    }
    const auto [leftmost, rightmost] = std::ranges::minmax_element(landmarks.outerLips, {}, &PixelPoint::x);
    return FivePoints{mean(landmarks.leftEye), mean(landmarks.rightEye), mean(landmarks.nose), *leftmost,
                      *rightmost};
}

double SimilarityTransform::scale() const { return std::hypot(a, b); }

SimilarityTransform SimilarityTransform::inverse() const {
    const double square = (a * a) + (b * b);
    const SimilarityTransform turned{.a = a / square, .b = -b / square};
    const PixelPoint origin = turned({tx, ty});
    return {turned.a, turned.b, -origin.x, -origin.y};
}

std::optional<SimilarityTransform> computeSimilarityTransform(std::span<const PixelPoint> source,
                                                              std::span<const PixelPoint> destination) {
    constexpr std::size_t leastPoints = 2;
    constexpr double leastSpread = 1e-9;
    if (source.size() < leastPoints || source.size() != destination.size()) return std::nullopt;
    const PixelPoint from = mean(source);
    const PixelPoint to = mean(destination);
    double along = 0;
    double across = 0;
    double spread = 0;
    for (std::size_t index = 0; index < source.size(); ++index) {
        const PixelPoint p{source[index].x - from.x, source[index].y - from.y};
        const PixelPoint q{destination[index].x - to.x, destination[index].y - to.y};
        along += (p.x * q.x) + (p.y * q.y);
        across += (p.x * q.y) - (p.y * q.x);
        spread += (p.x * p.x) + (p.y * p.y);
    }
    // Written so that what is not a number is no spread either.
    if (!(spread > leastSpread)) return std::nullopt;
    SimilarityTransform transform{.a = along / spread, .b = across / spread};
    if (!(transform.scale() > leastSpread) || !std::isfinite(transform.scale())) return std::nullopt;
    const PixelPoint turned = transform(from);
    transform.tx = to.x - turned.x;
    transform.ty = to.y - turned.y;
    return transform;
}

Bitmap alignedFace(const Bitmap& bitmap, const SimilarityTransform& transform) {
    Bitmap face{alignedFaceSide, alignedFaceSide, 3, {}};
    face.pixels.reserve(std::size_t{3} * alignedFaceSide * alignedFaceSide);
    const SimilarityTransform back = transform.inverse();
    // A pixel of the face stands for that many of the picture along each axis.
    const int samples = static_cast<int>(std::clamp(std::ceil(back.scale()), 1.0, double{largestSampling}));
    for (int y = 0; y < alignedFaceSide; ++y) {
        for (int x = 0; x < alignedFaceSide; ++x) {
            std::array<double, 3> sum{};
            for (int sample = 0; sample < samples * samples; ++sample) {
                const double right = x + ((sample % samples) + 0.5) / samples;
                const double down = y + ((sample / samples) + 0.5) / samples;
                const PixelPoint point = back({right, alignedFaceSide - down});
                addSample(bitmap, point.x, bitmap.height - point.y, sum);
            }
            for (const double channel : sum) {
                face.pixels.push_back(static_cast<std::uint8_t>(std::lround(channel / (samples * samples))));
            }
        }
    }
    return face;
}

std::optional<PixelBox> naiveFaceBox(const NormalizedRect& box, int width, int height) {
    const double left = std::max(0.0, box.x - (cornerShift * box.width));
    const double bottom = std::max(0.0, box.y - (cornerShift * box.height));
    const double right = left + std::min(1.0, box.width * (1 + boxGrowth));
    const double top = bottom + std::min(1.0, box.height * (1 + boxGrowth));
    const auto pixel = [](double share, int side, bool up) {
        // What rounding left of a share that ends between two pixels touches neither more.
        constexpr double slack = 1e-6;
        const double value = share * side;
        const double whole = up ? std::ceil(value - slack) : std::floor(value + slack);
        return static_cast<int>(std::clamp(whole, 0.0, double(side)));
    };
    const int x = pixel(left, width, false);
    const int y = pixel(1 - top, height, false);
    const PixelBox result{x, y, pixel(right, width, true) - x, pixel(1 - bottom, height, true) - y};
    if (result.width <= 0 || result.height <= 0) return std::nullopt;
    return result;
}

double faceSize(const NormalizedRect& box, int width, int height) {
    return std::min(box.width * width, box.height * height);
}

bool liesInPicture(const NormalizedRect& box) {
    for (const double value : {box.x, box.y, box.width, box.height}) {
        if (!std::isfinite(value)) return false;
    }
    return box.width > 0 && box.height > 0 && box.x < 1 && box.y < 1 && box.x + box.width > 0 &&
           box.y + box.height > 0;
}

}  // namespace kelvaris
