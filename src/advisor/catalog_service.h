#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "advisor/catalog_records.h"
#include "platform/files.h"
#include "platform/language.h"
#include "vocabulary/gear_recommendations.h"

namespace kelvaris {

/// What ships with the program on cameras and film stocks. Loaded once, unchanging afterwards; any thread.
/// A file that is missing, too large or does not decode leaves its list empty, with a line in the log.
class CatalogService {
public:
    /// @param resources the folder of "cameras.json", "films.json" and the two recommendation lists.
    /// @param language must outlive the service.
    CatalogService(const Files& files, const Path& resources, const Language& language);
    CatalogService(const CatalogService&) = delete;
    CatalogService& operator=(const CatalogService&) = delete;

    const std::vector<CameraRecord>& cameras() const { return cameras_; }
    const std::vector<FilmStockRecord>& filmStocks() const { return filmStocks_; }
    const std::vector<CameraRecommendationEntry>& cameraEntries() const { return cameraEntries_; }
    const std::vector<FilmRecommendationEntry>& filmEntries() const { return filmEntries_; }

    /// The cameras whose make and model hold every word of the query, in either case, in catalog order.
    /// A blank query finds nothing. The pointers live as long as the service.
    std::vector<const CameraRecord*> searchCameras(std::string_view query) const;
    /// Likewise by brand and name; sorted by brand, then name.
    std::vector<const FilmStockRecord*> searchFilmStocks(std::string_view query) const;

    /// The first camera of that make and model, in either case; nullptr when there is none.
    const CameraRecord* camera(std::string_view make, std::string_view model) const;
    /// The first stock of that name, with its brand before it or not, in either case; or nullptr.
    const FilmStockRecord* filmStock(std::string_view filmName) const;

private:
    const Language& language_;
    std::vector<CameraRecord> cameras_;
    std::vector<FilmStockRecord> filmStocks_;
    std::vector<CameraRecommendationEntry> cameraEntries_;
    std::vector<FilmRecommendationEntry> filmEntries_;
    std::vector<std::string> cameraTexts_;  // lower-cased make and model, beside cameras_
    std::vector<std::string> filmTexts_;    // lower-cased brand and name, beside filmStocks_
    std::unordered_map<std::string, std::size_t> cameraByName_;
    std::unordered_map<std::string, std::size_t> filmByName_;
};

}  // namespace kelvaris
