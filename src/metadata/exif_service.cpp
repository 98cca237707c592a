#include "metadata/exif_service.h"

namespace kelvaris {

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

}  // namespace kelvaris
