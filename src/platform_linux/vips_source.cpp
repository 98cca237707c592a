#include "platform_linux/vips_source.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string_view>

#include "platform_linux/file_byte_source.h"
#include "platform_linux/jpeg_segments.h"
#include "platform_linux/libjpeg_pixels.h"
#include "platform_linux/tiff_strips.h"
#include "platform_linux/tiff_tables.h"

namespace kelvaris {
namespace {

constexpr std::string_view exifName{"Exif\0\0", 6};
constexpr std::uint16_t orientationTag = 274;
constexpr std::uint16_t thumbnailOffsetTag = 513;
constexpr std::uint16_t thumbnailLengthTag = 514;
constexpr std::array heifBrands{"heic", "heix", "hevc", "heim", "heis", "mif1", "msf1", "avif"};

std::optional<ImageFormat> formatOf(const ByteSource& file) {
    std::array<std::uint8_t, 12> head{};
    if (!file.readAt(0, head)) return std::nullopt;
    const std::string_view text = asText(head);
    if (text.starts_with("\xFF\xD8\xFF")) return ImageFormat::jpeg;
    if (text.starts_with("\x89PNG\r\n\x1A\n")) return ImageFormat::png;
    if (TiffReader::open(file)) return ImageFormat::tiff;
    if (text.substr(4, 4) == "ftyp" && std::ranges::find(heifBrands, text.substr(8, 4)) != heifBrands.end()) {
        return ImageFormat::heif;
    }
    return std::nullopt;
}

ImageError damaged() { return {ImageError::Code::damaged, takeVipsErrors()}; }

Bytes blob(VipsImage* header, const char* name) {
    const void* data = nullptr;
    std::size_t size = 0;
    if (vips_image_get_typeof(header, name) == 0 || vips_image_get_blob(header, name, &data, &size) != 0) {
        return {};
    }
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    return {bytes, bytes + size};
}

std::optional<int> integerField(VipsImage* header, const char* name) {
    int value = 0;
    if (vips_image_get_typeof(header, name) == 0 || vips_image_get_int(header, name, &value) != 0) {
        return std::nullopt;
    }
    return value;
}

/// Turned as an orientation of the Exif standard tells; values beyond 1 to 8 leave it as it is.
ImageResult<Image> turned(Bitmap bitmap, int orientation) {
    if (orientation < 2 || orientation > 8) return Image(std::make_shared<const Bitmap>(std::move(bitmap)));
    const auto plain = borrowed(bitmap);
    const auto marked =
        plain ? vipsResult([&](VipsImage** out) { return vips_copy(plain.get(), out, nullptr); }) : nullptr;
    if (!marked) return Unexpected(damaged());
    vips_image_set_int(marked.get(), VIPS_META_ORIENTATION, orientation);
    const auto upright =
        vipsResult([&](VipsImage** out) { return vips_autorot(marked.get(), out, nullptr); });
    if (!upright) return Unexpected(damaged());
    auto result = rendered(upright.get());
    if (!result) return Unexpected(result.error());
    return Image(std::make_shared<const Bitmap>(std::move(*result)));
}

ImageResult<Image> finished(VipsImage* image, ExtraBands extraBands, std::optional<std::pair<int, int>> size,
                            int orientation) {
    auto step = scalable(image, extraBands);
    if (step && size) step = scaled(step.get(), size->first, size->second);
    if (step) step = displayable(step.get());
    if (!step) return Unexpected(damaged());
    auto bitmap = rendered(step.get());
    if (!bitmap) return Unexpected(bitmap.error());
    return turned(std::move(*bitmap), orientation);
}

std::optional<std::pair<int, int>> sizeFor(int width, int height, std::optional<int> maxPixelSize) {
    if (!maxPixelSize || std::max(width, height) <= *maxPixelSize) return std::nullopt;
    return boundedSize(width, height, *maxPixelSize);
}

/// The largest reduction that the format can do itself and that still leaves the wanted long side.
int jpegDivisor(int longSide, std::optional<std::pair<int, int>> size) {
    for (const int divisor : {8, 4, 2}) {
        if (size && longSide / divisor >= std::max(size->first, size->second)) return divisor;
    }
    return 1;
}

/// Large pictures that are reduced only a little: there the means of areas do as well as a sharper kernel,
/// which would take twice as long as decoding and hold the whole picture.
bool isReducedByMeans(int width, int height, std::pair<int, int> size) {
    constexpr int leastLongSide = 2000;
    return std::max(size.first, size.second) >= leastLongSide && width <= 2 * size.first &&
           height <= 2 * size.second;
}

/// @param profile the colour profile of its pixels; empty for none.
ImageResult<Image> decodedJpeg(ByteView jpeg, const Bytes& profile, std::optional<int> maxPixelSize,
                               int orientation) {
    const auto header = readJpegHeader(jpeg);
    if (!header) return Unexpected(header.error());
    auto size = sizeFor(header->width, header->height, maxPixelSize);
    const bool isByMeans = size && isReducedByMeans(header->width, header->height, *size);
    auto pixels = isByMeans ? decodeJpegReduced(jpeg, size->first, size->second)
                            : decodeJpeg(jpeg, jpegDivisor(std::max(header->width, header->height), size));
    if (!pixels) return Unexpected(pixels.error());
    if (isByMeans) size.reset();
    if (!size && profile.empty() && pixels->channels < 4) {
        return turned({pixels->width, pixels->height, pixels->channels, std::move(pixels->samples)},
                      orientation);
    }
    const VipsImagePtr plain(vips_image_new_from_memory(pixels->samples.data(), pixels->samples.size(),
                                                        pixels->width, pixels->height, pixels->channels,
                                                        VIPS_FORMAT_UCHAR));
    VipsInterpretation colours = VIPS_INTERPRETATION_sRGB;
    if (pixels->channels == 1) colours = VIPS_INTERPRETATION_B_W;
    if (pixels->channels == 4) colours = VIPS_INTERPRETATION_CMYK;
    const auto image = plain ? vipsResult([&](VipsImage** out) {
        return vips_copy(plain.get(), out, "interpretation", colours, nullptr);
    })
                             : nullptr;
    if (!image) return Unexpected(damaged());
    if (!profile.empty()) {
        vips_image_set_blob_copy(image.get(), VIPS_META_ICC_NAME, profile.data(), profile.size());
    }
    return finished(image.get(), ExtraBands::asInterpreted, size, orientation);
}

std::optional<int> orientationIn(const Bytes& exif) {
    const ViewByteSource block(exif);
    const auto reader = TiffReader::open(block);
    const auto first = reader ? reader->table(reader->firstTable()) : std::nullopt;
    const auto value = first ? reader->integer(*first, orientationTag) : std::nullopt;
    if (!value) return std::nullopt;
    return static_cast<int>(std::min<std::uint64_t>(*value, 9));
}

/// The Exif block's second table may point at a small JPEG inside the block.
ByteView thumbnailIn(const Bytes& exif) {
    const ViewByteSource block(exif);
    const auto reader = TiffReader::open(block);
    const auto first = reader ? reader->table(reader->firstTable()) : std::nullopt;
    const auto second = first && first->next != 0 ? reader->table(first->next) : std::nullopt;
    if (!second) return {};
    const auto offset = reader->integer(*second, thumbnailOffsetTag).value_or(0);
    const auto length = reader->integer(*second, thumbnailLengthTag).value_or(0);
    if (length < 4 || offset > exif.size() || length > exif.size() - offset) return {};
    const ByteView bytes = ByteView(exif).subspan(offset, length);
    return bytes[0] == 0xFF && bytes[1] == 0xD8 ? bytes : ByteView();
}

class OpenedSource final : public ImageSource {
public:
    static ImageResult<std::unique_ptr<ImageSource>> open(const Path& path, const ImageLimits& limits,
                                                          std::shared_ptr<WorkingMemory> memory) {
        auto file = FileByteSource::open(path);
        if (!file) return Unexpected(ImageError{ImageError::Code::unreadable, file.error().message});
        const auto format = formatOf(**file);
        if (!format)
            return Unexpected(ImageError{ImageError::Code::notAnImage, "Not a JPEG, PNG, TIFF or HEIC"});
        std::unique_ptr<OpenedSource> source(new OpenedSource(std::move(*file), *format, std::move(memory)));
        if (auto ready = source->prepare(limits); !ready) return Unexpected(ready.error());
        return std::unique_ptr<ImageSource>(std::move(source));
    }

    const ImageProperties& properties() const override { return properties_; }
    const ByteSource& file() const override { return *file_; }

    const MetadataBlocks& metadata() override {
        if (metadata_) return *metadata_;
        if (properties_.format == ImageFormat::jpeg) return metadata_.emplace(readJpegMetadata(*file_));
        MetadataBlocks blocks;
        blocks.exif = blob(header_.get(), VIPS_META_EXIF_NAME);
        if (asText(blocks.exif).starts_with(exifName)) {
            blocks.exif.erase(blocks.exif.begin(), blocks.exif.begin() + exifName.size());
        }
        if (properties_.format == ImageFormat::tiff) blocks.exif.clear();
        blocks.xmp = blob(header_.get(), VIPS_META_XMP_NAME);
        blocks.icc = blob(header_.get(), VIPS_META_ICC_NAME);
        return metadata_.emplace(std::move(blocks));
    }

    ImageResult<Image> embeddedThumbnail(int maxPixelSize) override {
        if (properties_.format == ImageFormat::heif) return heifThumbnail(maxPixelSize);
        const ByteView inside = thumbnailIn(metadata().exif);
        if (inside.empty()) return Unexpected(noThumbnail());
        return decodedJpeg(inside, {}, maxPixelSize, orientation());
    }

    ImageResult<Image> decode(std::optional<int> maxPixelSize) override {
        const WorkingMemory::Share share(*memory_, wholePictureBytes_);
        if (properties_.format == ImageFormat::jpeg) {
            return decodedJpeg(contents_, metadata().icc, maxPixelSize, orientation());
        }
        const auto size = sizeFor(properties_.pixelWidth, properties_.pixelHeight, maxPixelSize);
        if (size && strips_) {
            const int box = std::min({strips_->width / size->first, strips_->height / size->second, 128});
            if (box >= 2) {
                const auto shrunk = shrunkStrips(*file_, *strips_, box);
                if (!shrunk) return Unexpected(shrunk.error());
                return finished(shrunk->get(), ExtraBands::notAlpha, size, orientation());
            }
        }
        const auto image = loadPicture();
        if (!image) return Unexpected(damaged());
        return finished(image.get(), extraBands_, size, orientation());
    }

private:
    OpenedSource(std::unique_ptr<FileByteSource> file, ImageFormat format,
                 std::shared_ptr<WorkingMemory> memory)
        : memory_(std::move(memory)), file_(std::move(file)) {
        properties_.format = format;
    }

    ImageResult<void> prepare(const ImageLimits& limits) {
        if (properties_.format == ImageFormat::tiff) {
            readTables();
        } else {
            if (file_->size() > static_cast<std::uint64_t>(limits.compressedBytes)) {
                return Unexpected(ImageError{ImageError::Code::tooLarge, "The file is too large"});
            }
            contents_.resize(file_->size());
            if (!file_->readAt(0, contents_)) {
                return Unexpected(ImageError{ImageError::Code::unreadable, "The file cannot be read"});
            }
        }
        auto read = properties_.format == ImageFormat::jpeg ? readJpegProperties() : readProperties();
        if (!read) return read;
        if (static_cast<std::int64_t>(properties_.pixelWidth) * properties_.pixelHeight > limits.pixels) {
            return Unexpected(ImageError{ImageError::Code::tooLarge, "The picture has too many pixels"});
        }
        return {};
    }

    ImageResult<void> readJpegProperties() {
        const auto header = readJpegHeader(contents_);
        if (!header) return Unexpected(header.error());
        properties_.pixelWidth = header->width;
        properties_.pixelHeight = header->height;
        wholePictureBytes_ = header->coefficientBytes;
        properties_.orientation = properties_.tiffOrientation = orientationIn(metadata().exif);
        return {};
    }

    ImageResult<void> readProperties() {
        header_ = loadPicture();
        if (!header_) return Unexpected(damaged());
        properties_.pixelWidth = vips_image_get_width(header_.get());
        properties_.pixelHeight = vips_image_get_height(header_.get());
        properties_.decodesUpright = properties_.format == ImageFormat::heif;
        if (properties_.decodesUpright || integerField(header_.get(), "interlaced").value_or(0) != 0) {
            wholePictureBytes_ = static_cast<std::int64_t>(VIPS_IMAGE_SIZEOF_IMAGE(header_.get()));
        }
        // The planes of a HEIC stand beside the colours that are made of them.
        if (properties_.decodesUpright) wholePictureBytes_ += wholePictureBytes_ / 2;
        if (!properties_.decodesUpright) {
            properties_.orientation = integerField(header_.get(), VIPS_META_ORIENTATION);
            properties_.tiffOrientation = properties_.orientation;
        }
        return {};
    }

    void readTables() {
        const auto reader = TiffReader::open(*file_);
        const auto table = reader ? reader->table(reader->firstTable()) : std::nullopt;
        if (!table) return;
        if (!hasAlphaSamples(*reader, *table)) extraBands_ = ExtraBands::notAlpha;
        strips_ = plainStrips(*reader, *table);
    }

    /// The small picture beside the large one; without one, the library hands over the large one.
    ImageResult<Image> heifThumbnail(int maxPixelSize) const {
        const auto small = load([](VipsSource* source, VipsImage** out) {
            return vips_heifload_source(source, out, "thumbnail", TRUE, "fail_on", VIPS_FAIL_ON_TRUNCATED,
                                        nullptr);
        });
        if (!small) vips_error_clear();
        if (!small || vips_image_get_width(small.get()) >= properties_.pixelWidth) {
            return Unexpected(noThumbnail());
        }
        const auto size =
            sizeFor(vips_image_get_width(small.get()), vips_image_get_height(small.get()), maxPixelSize);
        return finished(small.get(), ExtraBands::asInterpreted, size, orientation());
    }

    /// The pixels by the format's own loader, lazily, from top to bottom once. Not for JPEG.
    VipsImagePtr loadPicture() const {
        switch (properties_.format) {
            case ImageFormat::jpeg:
                return nullptr;
            case ImageFormat::png:
                return load([](VipsSource* source, VipsImage** out) {
                    return vips_pngload_source(source, out, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                               VIPS_FAIL_ON_TRUNCATED, nullptr);
                });
            case ImageFormat::heif:
                return load([](VipsSource* source, VipsImage** out) {
                    return vips_heifload_source(source, out, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                                VIPS_FAIL_ON_TRUNCATED, nullptr);
                });
            case ImageFormat::tiff: {
                const VipsSourcePtr source(vips_source_new_from_descriptor(file_->descriptor()));
                if (!source) return nullptr;
                return vipsResult([&](VipsImage** out) {
                    return vips_tiffload_source(source.get(), out, "access", VIPS_ACCESS_SEQUENTIAL,
                                                "fail_on", VIPS_FAIL_ON_TRUNCATED, nullptr);
                });
            }
        }
        return nullptr;
    }

    template <class Loader>
    VipsImagePtr load(Loader&& loader) const {
        const VipsSourcePtr source(vips_source_new_from_memory(contents_.data(), contents_.size()));
        if (!source) return nullptr;
        return vipsResult([&](VipsImage** out) { return loader(source.get(), out); });
    }

    static ImageError noThumbnail() { return {ImageError::Code::absent, "No embedded thumbnail"}; }

    int orientation() const { return properties_.orientation.value_or(1); }

    const std::shared_ptr<WorkingMemory> memory_;
    std::int64_t wholePictureBytes_ = 0;  // held while it is decoded; 0 when rows come one after the other
    std::unique_ptr<FileByteSource> file_;
    Bytes contents_;  // of a compressed file; declared before the pictures that read it
    ImageProperties properties_;
    ExtraBands extraBands_ = ExtraBands::asInterpreted;
    std::optional<TiffStrips> strips_;
    VipsImagePtr header_;  // of every format but JPEG
    std::optional<MetadataBlocks> metadata_;
};

}  // namespace

ImageResult<std::unique_ptr<ImageSource>> openVipsSource(const Path& path, const ImageLimits& limits,
                                                         std::shared_ptr<WorkingMemory> memory) {
    return OpenedSource::open(path, limits, std::move(memory));
}

std::pair<int, int> boundedSize(int width, int height, int maxPixelSize) {
    const double factor = static_cast<double>(std::max(maxPixelSize, 1)) / std::max(width, height);
    const auto bounded = [&](int side) { return std::max(1, static_cast<int>(std::lround(side * factor))); };
    return {bounded(width), bounded(height)};
}

}  // namespace kelvaris
