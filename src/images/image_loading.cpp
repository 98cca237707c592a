#include "images/image_loading.h"

#include <algorithm>
#include <array>

#include "base/log.h"

namespace kelvaris {
namespace {

constexpr std::string_view category = "ImageLoading";

/// Where a pixel of the turned picture comes from: its coordinates, swapped or not, then each counted
/// from the other end of the source or not.
struct Turn {
    bool swapped = false;
    bool mirrorsX = false;
    bool mirrorsY = false;

    bool isNone() const { return !swapped && !mirrorsX && !mirrorsY; }
};

/// By orientation, from 1.
constexpr std::array<Turn, 8> turns{{
    {false, false, false},
    {false, true, false},
    {false, true, true},
    {false, false, true},
    {true, false, false},
    {true, false, true},
    {true, true, true},
    {true, true, false},
}};

constexpr int up = 1;

int orientationOf(RotationAngle rotation) {
    switch (rotation) {
        case RotationAngle::none:
            return up;
        case RotationAngle::clockwise90:
            return 6;
        case RotationAngle::clockwise180:
            return 3;
        case RotationAngle::clockwise270:
            return 8;
    }
    return up;
}

const Turn& turnOf(int orientation) {
    const bool known = orientation >= up && orientation <= static_cast<int>(turns.size());
    return turns[static_cast<std::size_t>(known ? orientation - 1 : 0)];
}

Turn composed(const Turn& first, const Turn& second) {
    return {first.swapped != second.swapped,
            first.mirrorsX != (first.swapped ? second.mirrorsY : second.mirrorsX),
            first.mirrorsY != (first.swapped ? second.mirrorsX : second.mirrorsY)};
}

template <int channels>
void copyTurned(const Bitmap& source, const Turn& turn, Bitmap& target) {
    const std::ptrdiff_t stepX = (turn.mirrorsX ? -1 : 1) * channels;
    const std::ptrdiff_t stepY =
        (turn.mirrorsY ? -1 : 1) * static_cast<std::ptrdiff_t>(source.width) * channels;
    const std::ptrdiff_t along = turn.swapped ? stepY : stepX;
    const std::ptrdiff_t down = turn.swapped ? stepX : stepY;
    const std::uint8_t* origin = source.pixels.data();
    if (turn.mirrorsX) origin += static_cast<std::ptrdiff_t>(source.width - 1) * channels;
    if (turn.mirrorsY) origin += static_cast<std::ptrdiff_t>(source.height - 1) * source.width * channels;

    // In squares, so that a turned column's cache lines are used up before they are lost.
    constexpr int square = 32;
    for (int top = 0; top < target.height; top += square) {
        for (int left = 0; left < target.width; left += square) {
            const int bottom = std::min(top + square, target.height);
            const int right = std::min(left + square, target.width);
            for (int y = top; y < bottom; ++y) {
                const std::uint8_t* from = origin + y * down + left * along;
                std::uint8_t* to =
                    target.pixels.data() + (static_cast<std::ptrdiff_t>(y) * target.width + left) * channels;
                for (int x = left; x < right; ++x, from += along, to += channels) {
                    for (int c = 0; c < channels; ++c) to[c] = from[c];
                }
            }
        }
    }
}

ImageResult<Image> readPicture(ImageSource& source, int maxPixelSize, bool preferEmbedded) {
    if (preferEmbedded) {
        if (auto embedded = source.embeddedThumbnail(maxPixelSize)) return embedded;
    }
    return source.decode(maxPixelSize);
}

}  // namespace

Image ImageLoading::coordinatedThumbnail(const Path& path, int maxPixelSize, bool preferEmbedded,
                                         RotationAngle rotation) const {
    const auto source = codec_.open(path);
    if (!source && source.error().code == ImageError::Code::unreadable) {
        log::error(category, "Coordinated read failed for {}: {}", path.filename(), source.error().message);
        return nullptr;
    }
    const auto picture = source ? readPicture(**source, maxPixelSize, preferEmbedded)
                                : ImageResult<Image>(Unexpected(source.error()));
    if (!picture) {
        log::error(category, "Coordinated read returned nil image for {}", path.filename());
        return nullptr;
    }
    return transformed(*picture, up, rotation);
}

int ImageLoading::exifOrientation(const ImageProperties& properties) {
    const auto orientation = properties.orientation ? properties.orientation : properties.tiffOrientation;
    if (!orientation || *orientation < 1 || *orientation > 8) return up;
    return *orientation;
}

Image ImageLoading::transformed(const Image& image, int exifOrientation, RotationAngle rotation) {
    const Turn turn = composed(turnOf(exifOrientation), turnOf(orientationOf(rotation)));
    if (turn.isNone()) return image;
    auto target = std::make_shared<Bitmap>();
    target->width = turn.swapped ? image->height : image->width;
    target->height = turn.swapped ? image->width : image->height;
    target->channels = image->channels;
    target->pixels.resize(image->pixels.size());
    if (image->channels == 1) {
        copyTurned<1>(*image, turn, *target);
    } else {
        copyTurned<3>(*image, turn, *target);
    }
    return target;
}

}  // namespace kelvaris
