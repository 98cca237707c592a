#include "vocabulary/cloud_storage_provider.h"

#include <array>
#include <string_view>

#include "base/text.h"

namespace kelvaris {
namespace {

using Row = std::pair<std::string_view, CloudStorageProvider>;

constexpr std::string_view mountMarker = "/Library/CloudStorage/";
constexpr std::array mountRows{
    Row{"googledrive", CloudStorageProvider::googleDrive},
    Row{"onedrive", CloudStorageProvider::oneDrive},
    Row{"dropbox", CloudStorageProvider::dropbox},
    Row{"box", CloudStorageProvider::box},
};

constexpr std::string_view iCloudMarker = "/Library/Mobile Documents/com~apple~CloudDocs/";

// No slash after OneDrive: its folder is also called by a company's name, "OneDrive - Example".
constexpr std::array homeRows{
    Row{"/Dropbox/", CloudStorageProvider::dropbox},
    Row{"/Google Drive/", CloudStorageProvider::googleDrive},
    Row{"/OneDrive", CloudStorageProvider::oneDrive},
};

}  // namespace

std::optional<CloudStorageProvider> detectCloudStorage(const Path& path, const Path& home) {
    const std::string_view text = path.string();

    if (const auto at = text.find(mountMarker); at != std::string_view::npos) {
        std::string_view rest = text.substr(at + mountMarker.size());
        rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
        const std::string mount = asciiLowercased(rest.substr(0, rest.find('/')));
        for (const auto& [word, provider] : mountRows) {
            if (mount.starts_with(word)) return provider;
        }
        return CloudStorageProvider::other;
    }
    if (text.find(iCloudMarker) != std::string_view::npos) return CloudStorageProvider::iCloud;

    if (text.starts_with(home.string())) {
        const std::string_view rest = text.substr(home.string().size());
        for (const auto& [word, provider] : homeRows) {
            if (rest.starts_with(word)) return provider;
        }
    }
    return std::nullopt;
}

std::string failedReadTooltip(const Path& file, const Path& home) {
    const auto provider = detectCloudStorage(file, home);
    if (!provider) return "Couldn't read - file may be offline";
    return std::string(rawValue(*provider)) + ": not downloaded - see preview pane";
}

}  // namespace kelvaris
