#include "sample_roll/frame.h"

#include <array>

#include "sample_roll/random_source.h"

namespace kelvaris::sample_roll {

namespace {

constexpr int largestRasterSide = 1500;
constexpr int grainSide = 512;

/// Grain as a tile of noise with unit spread, slightly clumped as silver is. It is drawn once for
/// all frames; each frame reads it from a place of its own.
const std::vector<float>& grainTile() {
    static const std::vector<float> tile = [] {
        RandomSource random(20260314);
        const auto count = static_cast<std::size_t>(grainSide) * grainSide;
        std::vector<float> raw(count);
        for (float& value : raw) {
            value = random.unit() + random.unit() + random.unit() + random.unit() - 2;
        }
        std::vector<float> result(count);
        float squares = 0;
        for (int y = 0; y < grainSide; ++y) {
            for (int x = 0; x < grainSide; ++x) {
                const auto at = [&](int dx, int dy) {
                    return raw[(static_cast<std::size_t>((y + dy) & (grainSide - 1)) * grainSide) +
                               static_cast<std::size_t>((x + dx) & (grainSide - 1))];
                };
                const float value = (at(0, 0) * 2) + at(1, 0) + at(-1, 0) + at(0, 1) + at(0, -1);
                result[(static_cast<std::size_t>(y) * grainSide) + static_cast<std::size_t>(x)] = value;
                squares += value * value;
            }
        }
        const float spread = std::sqrt(squares / static_cast<float>(count));
        for (float& value : result) {
            value /= spread;
        }
        return result;
    }();
    return tile;
}

/// Linear light to the encoded value of a print: a shoulder for the highlights, then the sRGB
/// curve. Read from a table over the square root, where both curves are nearly straight.
class PrintCurve {
public:
    PrintCurve() {
        for (std::size_t index = 0; index < table_.size(); ++index) {
            const double root = static_cast<double>(index) / steps * largestRoot;
            const double density = 1 - std::exp(-1.5 * root * root);
            table_[index] = static_cast<float>(
                density <= 0.0031308 ? density * 12.92 : (1.055 * std::pow(density, 1 / 2.4)) - 0.055);
        }
    }

    float operator()(float light) const {
        const float position =
            std::min(std::sqrt(std::max(light, 0.0F)) * (steps / largestRoot), steps - 1.0F);
        const auto index = static_cast<std::size_t>(position);
        return std::lerp(table_[index], table_[index + 1], position - static_cast<float>(index));
    }

private:
    static constexpr float steps = 4096;
    static constexpr float largestRoot = 3;
    std::array<float, 4097> table_{};
};

/// Bright light scatters back from the film base and leaves a red glow.
void addHalation(Raster& raster) {
    constexpr int factor = 6;
    Raster bright = shrunk(raster, factor);
    for (float& value : bright.samples()) {
        value = std::clamp(value - 0.85F, 0.0F, 4.0F);
    }
    blur(bright, std::max(1, bright.height() / 50));
    for (int y = 0; y < raster.height(); ++y) {
        float* target = raster.row(y);
        const float* source = bright.row(std::min(y / factor, bright.height() - 1));
        for (int x = 0; x < raster.width(); ++x) {
            const float* glow =
                source + (static_cast<std::ptrdiff_t>(std::min(x / factor, bright.width() - 1)) * 3);
            const float light = (glow[0] + glow[1] + glow[2]) * 0.33F;
            target[(x * 3) + 0] += light * 0.55F;
            target[(x * 3) + 1] += light * 0.16F;
            target[(x * 3) + 2] += light * 0.05F;
        }
    }
}

void addLightLeak(Raster& raster, RandomSource random) {
    const bool fromRight = random.chance(0.5F);
    const float reach = random.between(0.25F, 0.5F);
    const float center = random.between(0.2F, 0.8F);
    const std::uint64_t seed = random.bits();
    paintShape(
        raster, Box{0, 0, raster.aspect(), 1}, [](float, float) { return -1.0F; },
        [&](float x, float y) {
            const auto column = std::min(raster.width() - 1, static_cast<int>(x / raster.pixel()));
            const auto line = std::min(raster.height() - 1, static_cast<int>(y / raster.pixel()));
            const float* base = raster.row(line) + (static_cast<std::ptrdiff_t>(column) * 3);
            const float depth = fromRight ? raster.aspect() - x : x;
            const float edge = reach * (0.6F + (0.8F * ridgeNoise(y * 2, seed, 3)));
            const float along = std::exp(-std::pow((y - center) * 1.8F, 2.0F));
            const float leak = std::pow(std::max(0.0F, 1 - (depth / edge)), 1.6F) * along * 2.2F;
            return Color{base[0] + (leak * 1.2F), base[1] + (leak * leak * 0.35F),
                         base[2] + (leak * leak * 0.06F)};
        });
}

void addVignette(Raster& raster, float strength) {
    const float aspect = raster.aspect();
    for (int y = 0; y < raster.height(); ++y) {
        float* row = raster.row(y);
        const float v = (static_cast<float>(y) * raster.pixel()) - 0.5F;
        for (int x = 0; x < raster.width(); ++x) {
            const float u = (static_cast<float>(x) * raster.pixel()) - (aspect / 2);
            const float fall = 1 - (strength * ((u * u) + (v * v)));
            for (int channel = 0; channel < 3; ++channel) {
                row[(x * 3) + channel] *= fall;
            }
        }
    }
}

void paintLeader(Raster& raster, RandomSource random) {
    const Color base{random.between(0.010F, 0.016F), random.between(0.008F, 0.012F), 0.007F};
    const std::uint64_t seed = random.bits();
    paintShape(
        raster, Box{0, 0, raster.aspect(), 1}, [](float, float) { return -1.0F; },
        [&](float x, float y) { return base * (0.9F + (0.2F * cloudNoise(x, y, seed, 2))); });
}

void scaleChannels(Raster& raster, const Color& factors, const Color& lift) {
    float* sample = raster.samples().data();
    for (std::size_t index = 0; index < raster.samples().size(); index += 3) {
        sample[index] = (sample[index] * factors.red) + lift.red;
        sample[index + 1] = (sample[index + 1] * factors.green) + lift.green;
        sample[index + 2] = (sample[index + 2] * factors.blue) + lift.blue;
    }
}

/// What the lens and the shutter did, in linear light.
void applyExposure(Raster& raster, Fault fault) {
    switch (fault) {
        case Fault::none:
        case Fault::blankLeader:
        case Fault::lightLeak:
        case Fault::colorCast:
            return;
        case Fault::blurred:
            smear(raster, std::max(2, raster.width() / 60));
            blur(raster, std::max(2, raster.width() / 180));
            return;
        case Fault::dark:
            scaleChannels(raster, {0.07F, 0.06F, 0.06F}, {0.004F, 0.004F, 0.006F});
            return;
        case Fault::blownOut:
            scaleChannels(raster, {5, 5, 5}, {0.5F, 0.5F, 0.5F});
            return;
    }
}

Raster developed(const FrameRecipe& recipe) {
    const int longSide = std::max(recipe.width, recipe.height);
    const int limit = std::min(longSide, largestRasterSide);
    const auto scaled = [&](int side) {
        return std::max(1, static_cast<int>((static_cast<std::int64_t>(side) * limit) / longSide));
    };
    const int width = scaled(recipe.width);
    const int height = scaled(recipe.height);
    RandomSource random(mixBits(recipe.seed ^ 0x66696c6dULL));

    const bool lying = recipe.placing == Placing::sideways;
    Raster raster = paintScene(recipe.scene, lying ? height : width, lying ? width : height, recipe.seed);
    if (lying) {
        raster = turnedClockwise(raster);
    } else if (recipe.placing == Placing::upsideDown) {
        raster = turnedUpsideDown(raster);
    }
    if (recipe.fault == Fault::blankLeader) {
        paintLeader(raster, random.fork());
    }
    applyExposure(raster, recipe.fault);
    addVignette(raster, 0.25F);
    if (recipe.stamp) {
        paintDateStamp(raster, *recipe.stamp);
    }
    addHalation(raster);
    if (recipe.fault == Fault::lightLeak) {
        addLightLeak(raster, random.fork());
    }
    if (recipe.fault == Fault::colorCast) {
        constexpr std::array<Color, 4> casts = {
            {{0.75F, 1.12F, 0.7F}, {1.25F, 0.78F, 1.1F}, {0.62F, 0.9F, 1.45F}, {1.4F, 1.0F, 0.5F}}};
        scaleChannels(raster, casts[static_cast<std::size_t>(random.whole(0, 3))], {0.01F, 0.008F, 0.01F});
    } else {
        // Every scan has a tint of its own, from the stock and the lab.
        scaleChannels(
            raster, {random.between(0.96F, 1.08F), random.between(0.97F, 1.03F), random.between(0.9F, 1.03F)},
            {0.006F, 0.005F, 0.006F});
    }

    static const PrintCurve print;
    for (float& value : raster.samples()) {
        value = print(value);
    }
    if (recipe.monochrome) {
        float* sample = raster.samples().data();
        for (std::size_t index = 0; index < raster.samples().size(); index += 3) {
            const float grey =
                (0.299F * sample[index]) + (0.587F * sample[index + 1]) + (0.114F * sample[index + 2]);
            std::fill_n(sample + index, 3, grey);
        }
    }
    return raster;
}

}  // namespace

Frame::Frame(const FrameRecipe& recipe)
    : width_(recipe.width),
      height_(recipe.height),
      monochrome_(recipe.monochrome),
      grain_(recipe.grain),
      seed_(mixBits(recipe.seed ^ 0x677261696eULL)),
      raster_(developed(recipe)) {
    const float step = static_cast<float>(raster_.width()) / static_cast<float>(width_);
    for (int x = 0; x < width_; ++x) {
        const float position = std::clamp(((static_cast<float>(x) + 0.5F) * step) - 0.5F, 0.0F,
                                          static_cast<float>(raster_.width() - 1));
        const int column = std::min(static_cast<int>(position), std::max(0, raster_.width() - 2));
        sourceColumn_.push_back(column * 3);
        sourceShare_.push_back(raster_.width() > 1 ? position - static_cast<float>(column) : 0);
    }
    // One pixel of room on the right, so that the last column has a neighbour.
    mixedRow_.resize((static_cast<std::size_t>(raster_.width()) * 3) + 3);
    wide_.resize(static_cast<std::size_t>(width_) * static_cast<std::size_t>(channels()));
    narrow_.resize(wide_.size());
}

std::span<const std::uint16_t> Frame::row16(int y) {
    const float step = static_cast<float>(raster_.height()) / static_cast<float>(height_);
    const float position = std::clamp(((static_cast<float>(y) + 0.5F) * step) - 0.5F, 0.0F,
                                      static_cast<float>(raster_.height() - 1));
    const int line = static_cast<int>(position);
    const float share = position - static_cast<float>(line);
    const float* upper = raster_.row(line);
    const float* lower = raster_.row(std::min(line + 1, raster_.height() - 1));
    const auto count = static_cast<std::size_t>(raster_.width()) * 3;
    for (std::size_t index = 0; index < count; ++index) {
        mixedRow_[index] = upper[index] + (share * (lower[index] - upper[index]));
    }

    constexpr int mask = grainSide - 1;
    const std::vector<float>& tile = grainTile();
    const auto place = [&](unsigned shift) {
        // Rows of the next stretch of film start elsewhere in the tile, which hides its repeats.
        const std::uint64_t bits =
            mixBits(seed_ + (static_cast<std::uint64_t>(y / grainSide) << 8U)) >> shift;
        return std::pair{
            tile.data() + (static_cast<std::size_t>((y + static_cast<int>(bits & mask)) & mask) * grainSide),
            static_cast<int>((bits >> 9U) & mask)};
    };
    const auto [lumaGrain, lumaOffset] = place(0);
    const auto [redGrain, redOffset] = place(18);
    const auto [blueGrain, blueOffset] = place(36);

    const auto encode = [](float value) {
        return static_cast<std::uint16_t>((std::clamp(value, 0.0F, 1.0F) * 65535.0F) + 0.5F);
    };
    for (int x = 0; x < width_; ++x) {
        const float* from = mixedRow_.data() + sourceColumn_[static_cast<std::size_t>(x)];
        const float weight = sourceShare_[static_cast<std::size_t>(x)];
        const float red = from[0] + (weight * (from[3] - from[0]));
        const float green = from[1] + (weight * (from[4] - from[1]));
        const float blue = from[2] + (weight * (from[5] - from[2]));
        // Grain shows most in the middle tones and vanishes in blocked whites.
        const float strength = grain_ * (0.35F + (2.6F * green * (1 - green)));
        const float luma = lumaGrain[(x + lumaOffset) & mask];
        if (monochrome_) {
            wide_[static_cast<std::size_t>(x)] = encode(green + (strength * luma));
            continue;
        }
        const float redPart = redGrain[(x + redOffset) & mask];
        const float bluePart = blueGrain[(x + blueOffset) & mask];
        std::uint16_t* target = wide_.data() + (static_cast<std::ptrdiff_t>(x) * 3);
        target[0] = encode(red + (strength * ((0.8F * luma) + (0.5F * redPart))));
        target[1] = encode(green + (strength * luma));
        target[2] = encode(blue + (strength * ((0.8F * luma) + (0.7F * bluePart))));
    }
    return wide_;
}

std::span<const std::uint8_t> Frame::row8(int y) {
    row16(y);
    for (std::size_t index = 0; index < wide_.size(); ++index) {
        narrow_[index] = static_cast<std::uint8_t>((wide_[index] * 255U + 32767U) / 65535U);
    }
    return narrow_;
}

}  // namespace kelvaris::sample_roll
