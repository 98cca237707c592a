#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/instant.h"
#include "base/path.h"
#include "base/result.h"
#include "platform/files.h"
#include "platform/images.h"
#include "platform/jpeg_writer.h"
#include "platform/language.h"
#include "vocabulary/rotation_angle.h"

namespace kelvaris {

/// What a scan's own metadata say about where and when it was taken; the zone is the user's.
struct EXIFResult {
    std::optional<double> latitude;  ///< degrees, south negative; both or none
    std::optional<double> longitude;
    std::optional<Instant> captureDate;

    bool operator==(const EXIFResult&) const = default;
};

enum class ExifError { failedToReadSource, failedToCreateDestination, failedToWrite };

/// The words that a user is shown.
std::string_view description(ExifError error);

/// Reads the capture date out of scans, and writes tagged, upright JPEG copies of them. Sources are
/// never changed. Stateless; any thread.
class ExifService {
public:
    /// What the user assigned to a photo, on its way into the copy. An absent value leaves the source's.
    struct EXIFData {
        std::optional<Instant> dateTimeOriginal;
        std::optional<double> latitude;  ///< signed degrees; written only together with longitude
        std::optional<double> longitude;
        std::optional<std::string> software;
        std::optional<std::string> cameraMake;
        std::optional<std::string> cameraModel;
        std::optional<int> isoSpeedRatings;
        std::optional<std::string> filmName;
        std::optional<std::string> artist;
        std::optional<std::string> copyright;
        RotationAngle rotation = RotationAngle::none;
    };

    ExifService(ImageCodec& codec, Files& files, const Language& language, JpegWriter& writer)
        : codec_(codec), files_(files), language_(language), writer_(writer) {}

    /// DateTimeOriginal alone, as the user's clock; any failure gives nothing.
    std::optional<Instant> readEXIFDate(const Path& path) const;

    /// Place and date of an opened picture. A place needs both values and both of their directions.
    EXIFResult readEXIF(ImageSource& source) const;

    /// Writes the copy: the source's pixels turned by its own orientation and then by the rotation, all
    /// tags that the source has, and over them those of the data. The destination is replaced as a
    /// whole or, after an error, not at all.
    /// @param quality 0 to 1.
    Result<void, ExifError> writeEXIF(const Path& source, const Path& destination, const EXIFData& exifData,
                                      double quality) const;

private:
    Bytes taggedBlock(const Bytes& sourceBlock, const EXIFData& data, int width, int height,
                      bool isConverted) const;

    ImageCodec& codec_;
    Files& files_;
    const Language& language_;
    JpegWriter& writer_;
};

}  // namespace kelvaris
