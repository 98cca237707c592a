#include "metadata/exif_service.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include "base/log.h"
#include "images/image_loading.h"
#include "metadata/exif_block.h"
#include "metadata/exif_date.h"
#include "metadata/exif_editor.h"
#include "metadata/jpeg_segments.h"
#include "metadata/tiff_metadata.h"

namespace kelvaris {

namespace {

constexpr std::string_view category = "EXIF";

std::optional<Instant> captureDate(const ExifBlock& block, const Language& language) {
    const auto text = block.text(ExifTable::exif, ExifTag::dateTimeOriginal);
    if (!text) return std::nullopt;
    const auto reading = parseExifDate(*text);
    return reading ? language.fromLocalTime(*reading) : std::nullopt;
}

/// Signed degrees; nothing without the value, without its direction, or beyond the globe.
std::optional<double> signedDegrees(const ExifBlock& block, std::uint16_t valueTag,
                                    std::uint16_t directionTag, std::string_view negative, double limit) {
    const auto value = block.degrees(ExifTable::gps, valueTag);
    const auto direction = block.text(ExifTable::gps, directionTag);
    if (!value || !direction || direction->empty() || std::abs(*value) > limit) return std::nullopt;
    return *direction == negative ? -*value : *value;
}

EXIFResult resultOf(const ExifBlock& block, const Language& language) {
    EXIFResult result;
    const auto latitude = signedDegrees(block, ExifTag::gpsLatitude, ExifTag::gpsLatitudeRef, "S", 90);
    const auto longitude = signedDegrees(block, ExifTag::gpsLongitude, ExifTag::gpsLongitudeRef, "W", 180);
    if (latitude && longitude) {
        result.latitude = latitude;
        result.longitude = longitude;
    }
    result.captureDate = captureDate(block, language);
    return result;
}

/// One orientation that turns as the first and then clockwise by the angle does.
int composed(int orientation, RotationAngle rotation) {
    // The upright and the mirrored orientations, each row in steps of a quarter turn clockwise.
    constexpr std::array<std::array<int, 4>, 2> cycles{{{1, 6, 3, 8}, {2, 7, 4, 5}}};
    const auto quarters = static_cast<std::size_t>(rawValue(rotation) / 90);
    for (const auto& cycle : cycles) {
        for (std::size_t index = 0; index < cycle.size(); ++index) {
            if (cycle[index] == orientation) return cycle[(index + quarters) % cycle.size()];
        }
    }
    return 1;
}

/// Degrees, minutes and seconds to a ten-thousandth, carried over where rounding fills a minute.
std::array<ExifEditor::Fraction, 3> sexagesimal(double magnitude) {
    constexpr std::uint64_t fraction = 10'000, minute = 60 * fraction, degree = 60 * minute;
    const auto total = static_cast<std::uint64_t>(std::llround(magnitude * degree));
    return {{{static_cast<std::uint32_t>(total / degree), 1},
             {static_cast<std::uint32_t>(total % degree / minute), 1},
             {static_cast<std::uint32_t>(total % minute), static_cast<std::uint32_t>(fraction)}}};
}

}  // namespace

std::string_view description(ExifError error) {
    switch (error) {
        case ExifError::failedToReadSource:
            return "Failed to read source image";
        case ExifError::failedToCreateDestination:
            return "Failed to create destination file";
        case ExifError::failedToWrite:
            return "Failed to write EXIF data";
    }
    return {};
}

std::optional<Instant> ExifService::readEXIFDate(const Path& path) const {
    const auto source = codec_.open(path);
    return source ? readEXIF(**source).captureDate : std::nullopt;
}

EXIFResult ExifService::readEXIF(ImageSource& source) const {
    const Bytes tiff =
        source.properties().format == ImageFormat::tiff ? readTiffMetadata(source.file()).exif : Bytes();
    const auto block = ExifBlock::parse(tiff.empty() ? ByteView(source.metadata().exif) : ByteView(tiff));
    return block ? resultOf(*block, language_) : EXIFResult{};
}

Bytes ExifService::taggedBlock(const Bytes& sourceBlock, const EXIFData& data, int width, int height,
                               bool isConverted) const {
    using enum ExifTable;
    const auto parsed = ExifBlock::parse(sourceBlock);
    ExifEditor editor = parsed ? ExifEditor(*parsed) : ExifEditor();
    editor.removeStructure();
    const auto setText = [&](std::uint16_t tag, const std::optional<std::string>& text) {
        if (text) editor.setText(image, tag, *text);
    };
    setText(ExifTag::software, data.software);
    setText(ExifTag::make, data.cameraMake);
    setText(ExifTag::model, data.cameraModel);
    setText(ExifTag::artist, data.artist);
    setText(ExifTag::copyright, data.copyright);

    std::optional<CivilTime> taken;
    if (data.dateTimeOriginal) taken = language_.localTime(*data.dateTimeOriginal);
    if (taken) {
        const std::string text = exifDateText(*taken);
        editor.setText(exif, ExifTag::dateTimeOriginal, text);
        editor.setText(exif, ExifTag::dateTimeDigitized, text);
        editor.setText(image, ExifTag::dateTime, text);
    }
    if (data.isoSpeedRatings) {
        const int speed = std::clamp(*data.isoSpeedRatings, 0, int{UINT16_MAX});
        editor.setShort(exif, ExifTag::isoSpeedRatings, static_cast<std::uint16_t>(speed));
    }
    if (data.filmName) editor.setComment(*data.filmName);

    const bool hasPlace = data.latitude && data.longitude && std::isfinite(*data.latitude) &&
                          std::isfinite(*data.longitude) && std::abs(*data.latitude) <= 90 &&
                          std::abs(*data.longitude) <= 180;
    if (hasPlace) {
        constexpr std::array<std::uint8_t, 4> version{2, 3, 0, 0};
        editor.setBytes(gps, ExifTag::gpsVersion, ExifType::byte, version);
        editor.setText(gps, ExifTag::gpsLatitudeRef, *data.latitude >= 0 ? "N" : "S");
        editor.setFractions(gps, ExifTag::gpsLatitude, sexagesimal(std::abs(*data.latitude)));
        editor.setText(gps, ExifTag::gpsLongitudeRef, *data.longitude >= 0 ? "E" : "W");
        editor.setFractions(gps, ExifTag::gpsLongitude, sexagesimal(std::abs(*data.longitude)));
        if (taken) {
            editor.setText(gps, ExifTag::gpsDateStamp, exifDateText(*taken).substr(0, 10));
            const auto part = [](int number) { return ExifEditor::Fraction(number, 1); };
            const std::array time{part(taken->hour), part(taken->minute), part(taken->second)};
            editor.setFractions(gps, ExifTag::gpsTimeStamp, time);
        }
    }

    editor.setShort(image, ExifTag::orientation, 1);
    if (!editor.has(exif, ExifTag::exifVersion)) {
        editor.setBytes(exif, ExifTag::exifVersion, ExifType::undefined, asBytes("0232"));
    }
    if (isConverted) editor.setShort(exif, ExifTag::colorSpace, 1);
    editor.setLong(exif, ExifTag::pixelXDimension, static_cast<std::uint32_t>(width));
    editor.setLong(exif, ExifTag::pixelYDimension, static_cast<std::uint32_t>(height));

    auto output = editor.edited(maximumExifBlock);
    for (const std::uint16_t tag : output.dropped) {
        log::info(category, "Tag 0x{:04x} left out: the block is too long for a JPEG", tag);
    }
    return std::move(output.block);
}

Result<void, ExifError> ExifService::writeEXIF(const Path& source, const Path& destination,
                                               const EXIFData& exifData, double quality) const {
    const auto failed = [&](ExifError error, std::string_view reason) {
        log::error(category, "Export of {} failed: {}", source.filename(), reason);
        return Unexpected(error);
    };
    auto opened = codec_.open(source);
    if (!opened) return failed(ExifError::failedToReadSource, opened.error().message);
    const std::unique_ptr<ImageSource> picture = std::move(opened).value();

    // A JPEG's stored pixels are turned on their way into the copy; everything else decodes upright.
    JpegRecipe recipe{composed(1, exifData.rotation), quality, {}};
    Bytes jpeg;
    JpegWriter::Header header;
    if (picture->properties().format == ImageFormat::jpeg) {
        jpeg.resize(picture->file().size());
        if (!picture->file().readAt(0, jpeg)) {
            return failed(ExifError::failedToReadSource, "the file cannot be read");
        }
        const auto known = writer_.readHeader(jpeg);
        if (!known) return failed(ExifError::failedToReadSource, "it is no whole JPEG");
        header = *known;
    }
    MetadataBlocks blocks = picture->metadata();
    Image decoded;
    if (header.isCopyable) {
        recipe.orientation =
            composed(ImageLoading::exifOrientation(picture->properties()), exifData.rotation);
    } else {
        auto image = picture->decode(std::nullopt);
        if (!image) return failed(ExifError::failedToReadSource, image.error().message);
        decoded = std::move(image).value();
        header = {decoded->width, decoded->height, false};
    }
    recipe.segments = carriedSegments(blocks, header.isCopyable);
    if (picture->properties().format == ImageFormat::tiff) {
        const TiffMetadata tiff = readTiffMetadata(picture->file());
        blocks.exif = tiff.exif;
        auto resources = imageResourceSegments(tiff.imageResources);
        if (resources.empty()) resources = imageResourceSegments(iptcResource(tiff.iptc));
        std::ranges::move(resources, std::back_inserter(recipe.segments));
    }

    const bool isTransposed = recipe.orientation >= 5;
    const Bytes block = taggedBlock(blocks.exif, exifData, isTransposed ? header.height : header.width,
                                    isTransposed ? header.width : header.height, !header.isCopyable);
    if (block.size() > maximumExifBlock) return failed(ExifError::failedToWrite, "the tags are too long");
    recipe.segments.insert(recipe.segments.begin(), exifSegment(block));

    auto file = files_.beginWrite(destination);
    if (!file) return failed(ExifError::failedToCreateDestination, file.error().message);
    const auto written =
        decoded ? writer_.encode(*decoded, recipe, **file) : writer_.copy(jpeg, recipe, **file);
    if (!written && written.error() == JpegWriteError::unreadable) {
        return failed(ExifError::failedToReadSource, "its pixels are damaged");
    }
    if (!written) return failed(ExifError::failedToWrite, "the copy cannot be written");
    const auto committed = (*file)->commit();
    if (!committed) return failed(ExifError::failedToWrite, committed.error().message);
    return {};
}

}  // namespace kelvaris
