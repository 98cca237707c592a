#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelvaris::sample_roll {

/// A colour in linear light; 1 is paper white, lamps and the sun go beyond it.
struct Color {
    float red = 0;
    float green = 0;
    float blue = 0;

    Color operator+(const Color& other) const {
        return {red + other.red, green + other.green, blue + other.blue};
    }
    Color operator*(float factor) const { return {red * factor, green * factor, blue * factor}; }
};

inline Color mixed(const Color& first, const Color& second, float share) {
    return first * (1 - share) + second * share;
}

inline float smoothStep(float low, float high, float value) {
    const float t = std::clamp((value - low) / (high - low), 0.0F, 1.0F);
    return t * t * (3 - (2 * t));
}

/// Rows of interleaved RGB floats. Shapes address it in units of its height: y runs from 0 (top) to
/// 1, x from 0 to `aspect()`, so that a picture looks the same at every size.
class Raster {
public:
    Raster(int width, int height)
        : width_(width),
          height_(height),
          samples_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3) {}

    int width() const { return width_; }
    int height() const { return height_; }
    float aspect() const { return static_cast<float>(width_) / static_cast<float>(height_); }
    /// Side of one pixel in shape units.
    float pixel() const { return 1.0F / static_cast<float>(height_); }

    float* row(int y) { return samples_.data() + (static_cast<std::size_t>(y) * width_ * 3); }
    const float* row(int y) const { return samples_.data() + (static_cast<std::size_t>(y) * width_ * 3); }
    std::vector<float>& samples() { return samples_; }
    const std::vector<float>& samples() const { return samples_; }

private:
    int width_;
    int height_;
    std::vector<float> samples_;
};

/// A box in shape units.
struct Box {
    float left = 0;
    float top = 0;
    float right = 0;
    float bottom = 0;
};

/// Paints every pixel of `box` with `shade(x, y)`, weighed by the coverage that the signed distance
/// `distance(x, y)` (negative inside, in shape units) gives at the edge of the shape. `softness`
/// widens that edge.
template <class Distance, class Shade>
void paintShape(Raster& raster, const Box& box, Distance distance, Shade shade, float softness = 0) {
    const float scale = static_cast<float>(raster.height());
    const float edge = std::max(softness, raster.pixel());
    const int left = std::max(0, static_cast<int>(std::floor((box.left - edge) * scale)));
    const int right = std::min(raster.width(), static_cast<int>(std::ceil((box.right + edge) * scale)));
    const int top = std::max(0, static_cast<int>(std::floor((box.top - edge) * scale)));
    const int bottom = std::min(raster.height(), static_cast<int>(std::ceil((box.bottom + edge) * scale)));
    for (int y = top; y < bottom; ++y) {
        float* row = raster.row(y);
        const float centerY = (static_cast<float>(y) + 0.5F) / scale;
        for (int x = left; x < right; ++x) {
            const float centerX = (static_cast<float>(x) + 0.5F) / scale;
            const float coverage = std::clamp(0.5F - (distance(centerX, centerY) / edge), 0.0F, 1.0F);
            if (coverage <= 0) {
                continue;
            }
            const Color color = shade(centerX, centerY);
            float* sample = row + (static_cast<std::ptrdiff_t>(x) * 3);
            sample[0] += coverage * (color.red - sample[0]);
            sample[1] += coverage * (color.green - sample[1]);
            sample[2] += coverage * (color.blue - sample[2]);
        }
    }
}

inline float rectangleDistance(const Box& box, float x, float y) {
    return std::max({box.left - x, x - box.right, box.top - y, y - box.bottom});
}

/// Close to the true distance near the edge, which is all that anti-aliasing needs.
inline float ellipseDistance(float centerX, float centerY, float radiusX, float radiusY, float x, float y) {
    const float u = (x - centerX) / radiusX;
    const float v = (y - centerY) / radiusY;
    return (std::sqrt((u * u) + (v * v)) - 1) * std::min(radiusX, radiusY);
}

/// Distance from a line segment with round ends, less `halfWidth`.
float strokeDistance(float fromX, float fromY, float toX, float toY, float halfWidth, float x, float y);

void fillRectangle(Raster& raster, const Box& box, const Color& color, float softness = 0);
void fillEllipse(Raster& raster, float centerX, float centerY, float radiusX, float radiusY,
                 const Color& color, float softness = 0);

/// Smooth noise of several octaves at a point, in 0...1, with a mean near 0.5.
float cloudNoise(float x, float y, std::uint64_t seed, int octaves);

/// Smooth noise of several octaves along a line, in 0...1.
float ridgeNoise(float x, std::uint64_t seed, int octaves);

/// Three box blurs in each direction, close to a Gaussian. `radius` is in pixels.
void blur(Raster& raster, int radius);
/// A box blur along rows only: the smear of a camera that moved sideways.
void smear(Raster& raster, int radius);

Raster shrunk(const Raster& raster, int factor);
Raster turnedClockwise(const Raster& raster);
Raster turnedUpsideDown(const Raster& raster);

}  // namespace kelvaris::sample_roll
