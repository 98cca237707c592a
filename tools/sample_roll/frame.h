#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "sample_roll/date_stamp.h"
#include "sample_roll/raster.h"
#include "sample_roll/scenes.h"

namespace kelvaris::sample_roll {

/// How the picture lies in the file.
enum class Placing : std::uint8_t {
    upright,
    /// The camera was held upright, so the picture lies on its right side.
    sideways,
    upsideDown,
};

enum class Fault : std::uint8_t {
    none,
    /// The piece of film before the first frame: even and dark.
    blankLeader,
    blurred,
    dark,
    blownOut,
    lightLeak,
    colorCast,
};

/// Everything that decides a frame's pixels.
struct FrameRecipe {
    Scene scene = Scene::hills;
    std::uint64_t seed = 1;
    int width = 1200;
    int height = 800;
    Placing placing = Placing::upright;
    Fault fault = Fault::none;
    bool monochrome = false;
    std::optional<DateStamp> stamp;
    /// Strength of the grain in encoded units, 0 for none.
    float grain = 0.016F;
};

/// A scanned frame. The scene is painted at no more than 1500 pixels a side, which is about what a soft
/// lens and film resolve, and enlarged with grain while its rows are read: a frame of 24 megapixels
/// needs 18 MB. One thread at a time.
class Frame {
public:
    explicit Frame(const FrameRecipe& recipe);

    int width() const { return width_; }
    int height() const { return height_; }
    /// 1 for monochrome, else 3.
    int channels() const { return monochrome_ ? 1 : 3; }

    /// Samples of one row in sRGB encoding, `width() * channels()` of them, valid until the next
    /// call of either reader.
    std::span<const std::uint16_t> row16(int y);
    std::span<const std::uint8_t> row8(int y);

private:
    int width_;
    int height_;
    bool monochrome_;
    float grain_;
    std::uint64_t seed_;
    Raster raster_;
    std::vector<int> sourceColumn_;
    std::vector<float> sourceShare_;
    std::vector<float> mixedRow_;
    std::vector<std::uint16_t> wide_;
    std::vector<std::uint8_t> narrow_;
};

}  // namespace kelvaris::sample_roll
