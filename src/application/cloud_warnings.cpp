#include "application/cloud_warnings.h"

#include <fmt/format.h>

namespace kelvaris {

namespace {

std::string_view offlineTip(CloudStorageProvider provider) {
    switch (provider) {
        case CloudStorageProvider::googleDrive:
        case CloudStorageProvider::dropbox:
            return "In Finder, right-click the folder → Make Available Offline.";
        case CloudStorageProvider::oneDrive:
            return "In Finder, right-click the folder → Always keep on this device.";
        case CloudStorageProvider::box:
            return "In Box Drive, mark the folder for offline sync.";
        case CloudStorageProvider::iCloud:
            return "In Finder, right-click the folder → Keep Downloaded.";
        case CloudStorageProvider::other:
            return "Mark this folder for offline sync in your cloud app.";
    }
    return {};
}

}  // namespace

std::string cloudWarning(CloudStorageProvider provider) {
    return fmt::format("This roll lives in {}. {}", rawValue(provider), offlineTip(provider));
}

std::string cloudWarning(CloudStorageProvider provider, std::size_t rollCount) {
    return fmt::format("{} {} in {}. {}", rollCount, rollCount == 1 ? "roll lives" : "rolls live",
                       rawValue(provider), offlineTip(provider));
}

}  // namespace kelvaris
