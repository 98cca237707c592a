#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/path.h"
#include "vocabulary/raw_value.h"

namespace kelvaris {

/// Sync services recognised from a folder's path. The stored word is the name that a user sees.
enum class CloudStorageProvider : std::uint8_t { googleDrive, oneDrive, dropbox, box, iCloud, other };

template <>
struct RawValues<CloudStorageProvider> {
    static constexpr std::array rows{
        std::pair{CloudStorageProvider::googleDrive, std::string_view("Google Drive")},
        std::pair{CloudStorageProvider::oneDrive, std::string_view("OneDrive")},
        std::pair{CloudStorageProvider::dropbox, std::string_view("Dropbox")},
        std::pair{CloudStorageProvider::box, std::string_view("Box")},
        std::pair{CloudStorageProvider::iCloud, std::string_view("iCloud Drive")},
        std::pair{CloudStorageProvider::other, std::string_view("Cloud Storage")},
    };
};

/// The service whose folder the path lies in; nothing for a local path.
/// @param home the user's home folder.
std::optional<CloudStorageProvider> detectCloudStorage(const Path& path, const Path& home);

/// What a photo whose bytes could not be read shows.
std::string failedReadTooltip(const Path& file, const Path& home);

}  // namespace kelvaris
