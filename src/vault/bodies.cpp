#include "vault/bodies.h"

#include <fmt/format.h>

#include <vector>

#include "base/path.h"
#include "base/text.h"
#include "vault/yaml_scalars.h"

namespace kelvaris {

namespace {

using Lines = std::vector<std::string>;

/// The number that the same file's frontmatter gives back, so that a file that was read and is written again
/// keeps its bytes.
double asStored(double value) { return yaml::parseDouble(yaml::doubleText(value)).value_or(value); }

std::string summaryLine(const VaultRollManifest& manifest) {
    Lines parts;
    const std::string camera =
        cameraDescription(manifest.cameraMake.value_or(""), manifest.cameraModel.value_or(""));
    if (!camera.empty()) parts.push_back(camera);
    const std::string film = filmDescription(manifest.filmName.value_or(""), manifest.filmISO);
    if (!film.empty()) parts.push_back(film);
    parts.push_back(fmt::format("{} photos", manifest.photos.size()));
    return joined(parts, " | ");
}

std::string statusLine(const VaultRollManifest& manifest) {
    std::string line = fmt::format("Status: {}", rawValue(*manifest.workflowState));
    if (manifest.lastExported) line += fmt::format(" (exported {})", timestampText(*manifest.lastExported));
    if (manifest.exportDirty.value_or(false)) line += " [modified since export]";
    return line;
}

std::string photoRow(std::size_t number, const PhotoManifestEntry& entry, const Language& language) {
    const auto location = [&] {
        if (!entry.latitude || !entry.longitude) return std::string();
        return fmt::format("{:.4f}, {:.4f}", *entry.latitude, *entry.longitude);
    };
    const Lines cells = {
        fmt::format("{}", number),
        entry.filename,
        entry.captureDate ? language.mediumDateShortTime(*entry.captureDate) : "",
        location(),
        entry.placeName.value_or(""),
        entry.labels ? joined(*entry.labels, ", ") : "",
        entry.qualityScore ? fmt::format("{:.2f}", *entry.qualityScore) : "",
    };
    return "| " + joined(cells, " | ") + " |";
}

}  // namespace

std::string cameraDescription(const std::string& make, const std::string& model) {
    if (make.empty() || model.empty()) return make + model;
    return make + " " + model;
}

std::string filmDescription(const std::string& name, std::optional<int> iso) {
    if (name.empty() || !iso) return name;
    return fmt::format("{} (ISO {})", name, *iso);
}

std::string generateMarkdownBody(const VaultRollManifest& manifest, const Language& language) {
    Lines lines = {"# " + Path(manifest.folderPath).filename(), "", summaryLine(manifest)};
    if (manifest.notes && !manifest.notes->empty()) lines.push_back(*manifest.notes);
    if (manifest.workflowState) lines.push_back(statusLine(manifest));
    lines.emplace_back();
    lines.emplace_back("| # | Photo | Date | Location | Place | Labels | Quality |");
    lines.emplace_back("|---|-------|------|----------|-------|--------|---------|");
    for (std::size_t i = 0; i < manifest.photos.size(); ++i) {
        lines.push_back(photoRow(i + 1, manifest.photos[i], language));
    }
    return joined(lines, "\n");
}

std::string generatePreferencesBody(const VaultPreferences& preferences, const Language& language,
                                    Instant now) {
    Lines lines = {"# Kelvaris Preferences", "", "Updated: " + language.mediumDate(now), ""};
    const int percentage = static_cast<int>(preferences.exportQuality.value_or(1.0) * 100);  // cut
    std::string exporting = fmt::format("Export: Quality {}%", percentage);
    if (preferences.artistName && !preferences.artistName->empty()) {
        exporting += fmt::format(", Artist \"{}\"", *preferences.artistName);
    }
    lines.push_back(exporting);
    lines.push_back(fmt::format("Workflow: Date interval {}s, Location gap {}h",
                                shortestDecimal(asStored(preferences.dateIntervalSeconds.value_or(1.0))),
                                shortestDecimal(asStored(preferences.locationMaxGapHours.value_or(24.0)))));
    if (preferences.favoriteCameras && !preferences.favoriteCameras->empty()) {
        Lines cameras;
        for (const auto& camera : *preferences.favoriteCameras) {
            cameras.push_back(camera.make + " " + camera.model);
        }
        lines.push_back("Cameras: " + joined(cameras, ", "));
    }
    if (preferences.favoriteFilmStocks && !preferences.favoriteFilmStocks->empty()) {
        Lines stocks;
        for (const auto& stock : *preferences.favoriteFilmStocks) {
            stocks.push_back(stock.iso ? fmt::format("{} ISO {}", stock.name, *stock.iso) : stock.name);
        }
        lines.push_back("Film stocks: " + joined(stocks, ", "));
    }
    return joined(lines, "\n");
}

}  // namespace kelvaris
