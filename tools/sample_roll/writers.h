#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "sample_roll/exif_writer.h"
#include "sample_roll/frame.h"

namespace kelvaris::sample_roll {

enum class WriteOutcome : std::uint8_t {
    written,
    /// The machine has no encoder for the format; nothing was written.
    noEncoder,
    /// The file could not be written whole; what there was of it is removed.
    failed,
};

/// 8-bit JPEG, one component for a monochrome frame.
WriteOutcome writeJpeg(const std::filesystem::path& path, Frame& frame, int quality,
                       const std::optional<ExifRecord>& exif);

/// 16-bit TIFF, compressed without loss when `compressed`. Of the EXIF record it carries what the
/// TIFF tables have a tag for; maker note, comment, place and thumbnail stay out.
WriteOutcome writeTiff16(const std::filesystem::path& path, Frame& frame, bool compressed,
                         const std::optional<ExifRecord>& exif);

/// 8-bit HEIC, always in colour.
WriteOutcome writeHeic(const std::filesystem::path& path, Frame& frame, int quality,
                       const std::optional<ExifRecord>& exif);

/// A JPEG of the frame with a long side of at most `side` pixels, for the thumbnail of an EXIF
/// record.
std::vector<std::uint8_t> thumbnailJpeg(FrameRecipe recipe, int side);

}  // namespace kelvaris::sample_roll
