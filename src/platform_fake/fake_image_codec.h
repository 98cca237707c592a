#pragma once

#include <map>
#include <mutex>

#include "platform/files.h"
#include "platform/images.h"

namespace kelvaris {

/// What a path holds for the fake codec.
struct FakePicture {
    Bitmap upright;  ///< what a full decode gives
    ImageProperties properties;
    std::optional<Bitmap> thumbnail;  ///< the small picture inside the file, upright
    MetadataBlocks metadata;
    std::optional<ImageError> openError;
    std::optional<ImageError> thumbnailError;
    std::optional<ImageError> decodeError;
};

/// A bitmap of one colour.
Bitmap solidBitmap(int width, int height, std::uint8_t red, std::uint8_t green, std::uint8_t blue);

/// Serves pictures by path, for files that exist. Any thread.
class FakeImageCodec final : public ImageCodec {
public:
    explicit FakeImageCodec(const Files& files) : files_(files) {}

    /// The properties' sizes are taken from the bitmap when they are 0.
    void setPicture(const Path& path, FakePicture picture);
    void setPicture(const Path& path, Bitmap upright) { setPicture(path, FakePicture{std::move(upright)}); }
    /// What every other existing file holds; without one such a file is no image.
    void setDefaultPicture(FakePicture picture);
    /// From now on encoding fails.
    void setEncodeError(std::optional<ImageError> error);

    int openCount() const;
    int openCount(const Path& path) const;
    int decodeCount() const;
    int decodeCount(const Path& path) const;
    int thumbnailCount() const;
    /// The sizes asked of decode, in order; 0 for the full size.
    std::vector<int> decodedSizes() const;

    ImageResult<std::unique_ptr<ImageSource>> open(const Path& path) override;
    /// The text "JPEG <width>x<height>x<channels> <quality>" and the pixels.
    ImageResult<Bytes> encodeJpeg(const Bitmap& bitmap, double quality) override;
    ImageResult<Image> reduced(const Image& image, int maxPixelSize) override;

private:
    class Source;

    const Files& files_;
    mutable std::mutex mutex_;
    std::map<Path, std::shared_ptr<FakePicture>> pictures_;
    std::shared_ptr<FakePicture> defaultPicture_;
    std::optional<ImageError> encodeError_;
    std::map<Path, int> opens_;
    std::map<Path, int> decodes_;
    std::vector<int> decodedSizes_;
    int thumbnails_ = 0;
};

}  // namespace kelvaris
