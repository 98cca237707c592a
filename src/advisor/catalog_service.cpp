#include "advisor/catalog_service.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

#include "base/log.h"
#include "base/text.h"
#include "vocabulary/json_record.h"

namespace kelvaris {

namespace {

constexpr std::int64_t resourceLimit = 16 << 20;

constexpr std::array typeLabels{
    std::pair<std::string_view, std::string_view>{"BW", "B&W"},
    std::pair<std::string_view, std::string_view>{"CN", "Color"},
    std::pair<std::string_view, std::string_view>{"CR", "Color Rev"},
    std::pair<std::string_view, std::string_view>{"BWR", "B&W Rev"},
    std::pair<std::string_view, std::string_view>{"SP", "Special"},
    std::pair<std::string_view, std::string_view>{"IR", "Infrared"},
};

template <class Record>
std::vector<Record> loadResource(const Files& files, const Path& folder, std::string_view name) {
    const auto bytes = files.read(folder / name, resourceLimit);
    if (!bytes) {
        log::error("Catalog", "Cannot read {}: {}", name, bytes.error().message);
        return {};
    }
    auto records = decodedJson<std::vector<Record>>(asText(*bytes));
    if (!records) {
        log::error("Catalog", "Cannot decode {}", name);
        return {};
    }
    return *std::move(records);
}

std::vector<std::string> words(std::string_view text) {
    std::vector<std::string> found;
    for (std::string& piece : split(text, ' ')) {
        if (!piece.empty()) found.push_back(std::move(piece));
    }
    return found;
}

// The line break keeps "A" + "B C" apart from "A B" + "C".
std::string cameraKey(std::string_view make, std::string_view model, const Language& language) {
    return language.lowercased(make) + "\n" + language.lowercased(model);
}

template <class Record>
std::vector<const Record*> search(const std::vector<Record>& records, const std::vector<std::string>& texts,
                                  std::string_view query, const Language& language) {
    const std::vector<std::string> wanted = words(language.lowercased(trimmed(query)));
    std::vector<const Record*> found;
    if (wanted.empty()) return found;
    for (std::size_t i = 0; i < records.size(); ++i) {
        const bool matches = std::ranges::all_of(
            wanted, [&](const std::string& word) { return texts[i].find(word) != std::string::npos; });
        if (matches) found.push_back(&records[i]);
    }
    return found;
}

}  // namespace

std::string_view FilmStockRecord::typeLabel() const {
    for (const auto& [stored, shown] : typeLabels) {
        if (type == stored) return shown;
    }
    return type;
}

std::string FilmStockRecord::fullName() const { return name.starts_with(brand) ? name : brand + " " + name; }

CatalogService::CatalogService(const Files& files, const Path& resources, const Language& language)
    : language_(language),
      cameras_(loadResource<CameraRecord>(files, resources, "cameras.json")),
      filmStocks_(loadResource<FilmStockRecord>(files, resources, "films.json")),
      cameraEntries_(
          loadResource<CameraRecommendationEntry>(files, resources, "camera-recommendations.json")),
      filmEntries_(loadResource<FilmRecommendationEntry>(files, resources, "film-recommendations.json")) {
    for (std::size_t i = 0; i < cameras_.size(); ++i) {
        const CameraRecord& camera = cameras_[i];
        cameraTexts_.push_back(language.lowercased(camera.make + " " + camera.model));
        cameraByName_.try_emplace(cameraKey(camera.make, camera.model, language), i);
    }
    for (std::size_t i = 0; i < filmStocks_.size(); ++i) {
        const FilmStockRecord& film = filmStocks_[i];
        filmTexts_.push_back(language.lowercased(film.brand + " " + film.name));
        filmByName_.try_emplace(language.lowercased(film.name), i);
        filmByName_.try_emplace(language.lowercased(film.fullName()), i);
    }
}

std::vector<const CameraRecord*> CatalogService::searchCameras(std::string_view query) const {
    return search(cameras_, cameraTexts_, query, language_);
}

std::vector<const FilmStockRecord*> CatalogService::searchFilmStocks(std::string_view query) const {
    auto found = search(filmStocks_, filmTexts_, query, language_);
    std::ranges::stable_sort(found, {}, [](const FilmStockRecord* film) {
        return std::tuple<std::string_view, std::string_view>(film->brand, film->name);
    });
    return found;
}

const CameraRecord* CatalogService::camera(std::string_view make, std::string_view model) const {
    const auto found = cameraByName_.find(cameraKey(make, model, language_));
    return found == cameraByName_.end() ? nullptr : &cameras_[found->second];
}

const FilmStockRecord* CatalogService::filmStock(std::string_view filmName) const {
    const auto found = filmByName_.find(language_.lowercased(filmName));
    return found == filmByName_.end() ? nullptr : &filmStocks_[found->second];
}

}  // namespace kelvaris
