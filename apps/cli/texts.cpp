#include "texts.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/text.h"

namespace kelvaris::cli {

namespace {

std::string filmText(const FilmRoll& roll) {
    if (roll.filmName().empty()) return roll.filmISO() ? fmt::format("ISO {}", *roll.filmISO()) : "";
    return roll.filmISO() ? fmt::format("{} (ISO {})", roll.filmName(), *roll.filmISO()) : roll.filmName();
}

std::string stateText(const FilmRoll& roll) {
    if (roll.isDisconnected()) return "away: " + roll.awayReason();
    std::string text = roll.workflowState() ? std::string(rawValue(*roll.workflowState())) : "";
    if (roll.exportDirty().value_or(false)) text += ", changed since export";
    return text;
}

/// "2 photos: scan_01.jpg, scan_07.jpg"; empty for none.
std::string namesText(const PhotoList& photos) {
    if (photos.empty()) return "";
    std::vector<std::string> names;
    for (const PhotoPointer& photo : photos) names.push_back(photo->filename());
    return fmt::format("{}: {}", countOf(static_cast<int>(names.size()), "photo"), joined(names, ", "));
}

std::string missingText(const FilmRoll& roll) {
    if (roll.isDisconnected()) return "";  // all are
    PhotoList missing = roll.photos();
    std::erase_if(missing, [](const PhotoPointer& photo) { return !photo->isMissing(); });
    return namesText(missing);
}

std::string labelText(const PhotoItem& photo) {
    std::vector<std::string> words;
    for (const PhotoLabel label : photo.sortedLabels()) words.emplace_back(rawValue(label));
    return joined(words, ", ");
}

std::string placeText(const PhotoItem& photo) {
    if (photo.placeName()) return *photo.placeName();
    if (photo.latitude() && photo.longitude()) {
        return fmt::format("{:.4f}, {:.4f}", *photo.latitude(), *photo.longitude());
    }
    return "";
}

void addLine(std::string& text, std::string_view name, const std::string& value) {
    if (!value.empty()) text += fmt::format("{:<9}{}\n", name, value);
}

}  // namespace

std::string table(const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], codePointCount(row[i]));
    }
    std::string text;
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size()) line += std::string(widths[i] - codePointCount(row[i]) + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + '\n';
    }
    return text;
}

std::vector<std::string> rollHead() { return {"ID", "NAME", "PHOTOS", "CAMERA", "FILM", "DATES", "STATE"}; }

std::vector<std::string> rollRow(const FilmRoll& roll) {
    return {roll.id().text().substr(0, 8),
            roll.name(),
            std::to_string(roll.photos().size()),
            roll.cameraDisplayName(),
            filmText(roll),
            roll.dateRange(),
            stateText(roll)};
}

std::string rollText(const FilmRoll& roll, const Language& language) {
    std::string text = roll.name() + '\n';
    addLine(text, "Folder", roll.sourceFolder().string());
    addLine(text, "Camera", roll.cameraDisplayName());
    addLine(text, "Format", std::string(rawValue(roll.cameraFormat())));
    addLine(text, "Film", filmText(roll));
    addLine(text, "Dates", roll.dateRange());
    addLine(text, "Notes", roll.notes());
    addLine(text, "State", stateText(roll));
    addLine(text, "Missing", missingText(roll));
    addLine(text, "Removed", namesText(roll.removedPhotos()));
    addLine(text, "ID", roll.id().text());
    std::vector<std::vector<std::string>> rows = {
        {"#", "PHOTO", "DATE", "PLACE", "TURN", "LABELS", "QUALITY"}};
    int number = 0;
    for (const PhotoPointer& photo : roll.photos()) {
        const int degrees = rawValue(photo->rotation());
        rows.push_back({std::to_string(++number),
                        photo->filename() + (photo->isMissing() ? " (missing)" : ""),
                        photo->captureDate() ? language.mediumDateShortTime(*photo->captureDate()) : "",
                        placeText(*photo), degrees == 0 ? "" : fmt::format("{}°", degrees), labelText(*photo),
                        photo->labelsAnalyzed() ? fmt::format("{:.2f}", photo->qualityScore()) : ""});
    }
    return text + '\n' + table(rows);
}

}  // namespace kelvaris::cli
