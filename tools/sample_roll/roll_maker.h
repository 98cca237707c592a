#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sample_roll/exif_writer.h"
#include "sample_roll/frame.h"

namespace kelvaris::sample_roll {

enum class Format : std::uint8_t { jpeg, tiff16, heic };

struct RollOptions {
    std::uint64_t seed = 1;
    int frames = 36;
    /// Size of every frame; without it the sizes vary between 6 and 24 megapixels.
    std::optional<double> megapixels;
};

/// One frame of a planned roll.
struct PlannedFrame {
    /// Without extension, in the numbering of a lab: "scan_01".
    std::string name;
    /// What is special about the frame, in a few words; empty for an ordinary one.
    std::string remark;
    FrameRecipe recipe;
    Format format = Format::jpeg;
    bool compressedTiff = false;
    std::optional<ExifRecord> exif;
    bool embedsThumbnail = false;
};

/// Decides every frame of a roll. The special frames (leader, sideways, stamped and so on) are
/// spread over the roll, and a roll of only a few frames begins with them.
std::vector<PlannedFrame> planRoll(const RollOptions& options);

/// Paints and writes one planned frame into an existing folder. A HEIC that the machine cannot
/// encode is written as a JPEG instead, and `note` is told.
/// @return the path written, or nothing when the file could not be written.
std::optional<std::filesystem::path> writeFrame(const std::filesystem::path& folder,
                                                const PlannedFrame& planned,
                                                const std::function<void(std::string_view)>& note);

/// Makes the folder and writes the whole roll, on as many threads as there are processors. `note`
/// is called from any of them, one at a time.
/// @return the number of files written.
int makeRoll(const std::filesystem::path& folder, const RollOptions& options,
             const std::function<void(std::string_view)>& note);

}  // namespace kelvaris::sample_roll
