#include "platform_fake/fake_image_codec.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace kelvaris {

namespace {

/// Each target pixel is the mean of the source pixels whose cell it covers.
Bitmap reducedBitmap(const Bitmap& source, int maxPixelSize) {
    const int longSide = source.longSide();
    if (longSide <= maxPixelSize || maxPixelSize < 1) return source;
    const auto scaled = [&](int side) {
        const double wanted = static_cast<double>(side) * maxPixelSize / longSide;
        return std::max(1, static_cast<int>(std::lround(wanted)));
    };
    Bitmap result{
        .width = scaled(source.width), .height = scaled(source.height), .channels = source.channels};
    result.pixels.resize(static_cast<std::size_t>(result.width) * result.height * result.channels);
    const auto edge = [](int index, int from, int to) {
        return static_cast<int>(static_cast<std::int64_t>(index) * from / to);
    };
    for (int y = 0; y < result.height; ++y) {
        const int top = edge(y, source.height, result.height);
        const int bottom = std::max(top + 1, edge(y + 1, source.height, result.height));
        for (int x = 0; x < result.width; ++x) {
            const int left = edge(x, source.width, result.width);
            const int right = std::max(left + 1, edge(x + 1, source.width, result.width));
            for (int c = 0; c < source.channels; ++c) {
                std::int64_t sum = 0;
                for (int v = top; v < bottom; ++v) {
                    for (int u = left; u < right; ++u) {
                        sum +=
                            source.pixels[(static_cast<std::size_t>(v) * source.width + u) * source.channels +
                                          c];
                    }
                }
                const std::int64_t count = static_cast<std::int64_t>(bottom - top) * (right - left);
                result.pixels[(static_cast<std::size_t>(y) * result.width + x) * result.channels + c] =
                    static_cast<std::uint8_t>((sum + count / 2) / count);
            }
        }
    }
    return result;
}

int totalOf(const std::map<Path, int>& counts) {
    return std::accumulate(counts.begin(), counts.end(), 0,
                           [](int sum, const auto& entry) { return sum + entry.second; });
}

int countOf(const std::map<Path, int>& counts, const Path& path) {
    const auto found = counts.find(path);
    return found == counts.end() ? 0 : found->second;
}

std::shared_ptr<FakePicture> completed(FakePicture picture) {
    if (picture.properties.pixelWidth == 0) picture.properties.pixelWidth = picture.upright.width;
    if (picture.properties.pixelHeight == 0) picture.properties.pixelHeight = picture.upright.height;
    return std::make_shared<FakePicture>(std::move(picture));
}

}  // namespace

Bitmap solidBitmap(int width, int height, std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    Bitmap bitmap{.width = width, .height = height, .channels = 3};
    bitmap.pixels.reserve(static_cast<std::size_t>(width) * height * 3);
    for (int i = 0; i < width * height; ++i) {
        bitmap.pixels.insert(bitmap.pixels.end(), {red, green, blue});
    }
    return bitmap;
}

void FakeImageCodec::setPicture(const Path& path, FakePicture picture) {
    const std::lock_guard guard(mutex_);
    pictures_[path] = completed(std::move(picture));
}

void FakeImageCodec::setDefaultPicture(FakePicture picture) {
    const std::lock_guard guard(mutex_);
    defaultPicture_ = completed(std::move(picture));
}

void FakeImageCodec::setEncodeError(std::optional<ImageError> error) {
    const std::lock_guard guard(mutex_);
    encodeError_ = std::move(error);
}

int FakeImageCodec::openCount() const {
    const std::lock_guard guard(mutex_);
    return totalOf(opens_);
}

int FakeImageCodec::openCount(const Path& path) const {
    const std::lock_guard guard(mutex_);
    return countOf(opens_, path);
}

int FakeImageCodec::decodeCount() const {
    const std::lock_guard guard(mutex_);
    return totalOf(decodes_);
}

int FakeImageCodec::decodeCount(const Path& path) const {
    const std::lock_guard guard(mutex_);
    return countOf(decodes_, path);
}

int FakeImageCodec::thumbnailCount() const {
    const std::lock_guard guard(mutex_);
    return thumbnails_;
}

std::vector<int> FakeImageCodec::decodedSizes() const {
    const std::lock_guard guard(mutex_);
    return decodedSizes_;
}

class FakeImageCodec::Source final : public ImageSource {
public:
    Source(FakeImageCodec& codec, Path path, std::shared_ptr<FakePicture> picture,
           std::unique_ptr<MappedFile> file)
        : codec_(codec),
          path_(std::move(path)),
          picture_(std::move(picture)),
          mapped_(std::move(file)),
          file_(mapped_->bytes()) {}

    const ImageProperties& properties() const override { return picture_->properties; }
    const ByteSource& file() const override { return file_; }
    const MetadataBlocks& metadata() override { return picture_->metadata; }

    ImageResult<Image> embeddedThumbnail(int maxPixelSize) override {
        const std::lock_guard guard(codec_.mutex_);
        if (picture_->thumbnailError) return Unexpected(*picture_->thumbnailError);
        if (!picture_->thumbnail) {
            return Unexpected(ImageError{ImageError::Code::absent, "no embedded thumbnail"});
        }
        ++codec_.thumbnails_;
        return Image(std::make_shared<Bitmap>(reducedBitmap(*picture_->thumbnail, maxPixelSize)));
    }

    ImageResult<Image> decode(std::optional<int> maxPixelSize) override {
        const std::lock_guard guard(codec_.mutex_);
        ++codec_.decodes_[path_];
        codec_.decodedSizes_.push_back(maxPixelSize.value_or(0));
        if (picture_->decodeError) return Unexpected(*picture_->decodeError);
        const int limit = maxPixelSize.value_or(picture_->upright.longSide());
        return Image(std::make_shared<Bitmap>(reducedBitmap(picture_->upright, limit)));
    }

private:
    FakeImageCodec& codec_;
    Path path_;
    std::shared_ptr<FakePicture> picture_;
    std::unique_ptr<MappedFile> mapped_;
    ViewByteSource file_;
};

ImageResult<std::unique_ptr<ImageSource>> FakeImageCodec::open(const Path& path) {
    auto mapped = files_.map(path);
    const std::lock_guard guard(mutex_);
    ++opens_[path];
    if (!mapped) return Unexpected(ImageError{ImageError::Code::unreadable, mapped.error().message});
    const auto found = pictures_.find(path);
    const auto picture = found == pictures_.end() ? defaultPicture_ : found->second;
    if (!picture) return Unexpected(ImageError{ImageError::Code::notAnImage, "not an image"});
    if (picture->openError) return Unexpected(*picture->openError);
    return std::unique_ptr<ImageSource>(std::make_unique<Source>(*this, path, picture, std::move(*mapped)));
}

ImageResult<Bytes> FakeImageCodec::encodeJpeg(const Bitmap& bitmap, double quality) {
    const std::lock_guard guard(mutex_);
    if (encodeError_) return Unexpected(*encodeError_);
    const std::string head =
        fmt::format("JPEG {}x{}x{} {}\n", bitmap.width, bitmap.height, bitmap.channels, quality);
    Bytes bytes(head.begin(), head.end());
    bytes.insert(bytes.end(), bitmap.pixels.begin(), bitmap.pixels.end());
    return bytes;
}

ImageResult<Image> FakeImageCodec::reduced(const Image& image, int maxPixelSize) {
    if (image->longSide() <= maxPixelSize) return image;
    return Image(std::make_shared<Bitmap>(reducedBitmap(*image, maxPixelSize)));
}

}  // namespace kelvaris
