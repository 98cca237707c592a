#include "advisor/gear_recommendation_service.h"

#include <utility>

#include "advisor/foundation_models_reasoning_service.h"
#include "advisor/profile_builder.h"
#include "advisor/profile_sections.h"

namespace kelvaris {

namespace {

template <class Entry>
std::vector<Candidate<Entry>> candidates(const std::vector<Entry>& entries, const std::string Entry::*maker,
                                         const std::string Entry::*name, const Language& language) {
    std::vector<Candidate<Entry>> list;
    list.reserve(entries.size());
    for (const Entry& entry : entries) {
        list.push_back({entry, language.lowercased(entry.*maker), language.lowercased(entry.*name),
                        language.lowercased(entry.*maker + " " + entry.*name)});
    }
    return list;
}

}  // namespace

GearRecommendationService::GearRecommendationService(const CatalogService& catalog, const Language& language,
                                                     const Clock& clock, OperationQueue& queue,
                                                     const FoundationModelsReasoningService* prose)
    : catalog_(catalog),
      language_(language),
      clock_(clock),
      queue_(queue),
      prose_(prose),
      cameraEntries_(candidates<CameraRecommendationEntry>(catalog.cameraEntries(),
                                                           &CameraRecommendationEntry::make,
                                                           &CameraRecommendationEntry::model, language)),
      filmEntries_(candidates<FilmRecommendationEntry>(catalog.filmEntries(), &FilmRecommendationEntry::brand,
                                                       &FilmRecommendationEntry::name, language)) {}

void GearRecommendationService::generateRecommendations(
    RollSnapshot snapshot, std::function<void(GearRecommendationResult)> completion) const {
    auto work = [this, snapshot = std::move(snapshot), completion = std::move(completion)] {
        const ShootingProfile profile = buildProfile(snapshot, catalog_, language_);
        GearRecommendationResult result = recommendations(profile);
        completion(prose_ ? prose_->enhance(std::move(result), profile) : std::move(result));
    };
    queue_.add(std::move(work), OperationPriority::low);
}

GearRecommendationResult GearRecommendationService::recommendations(const ShootingProfile& profile) const {
    return {.profileSections = generateProfileSections(profile),
            .cameras = scoreCameras(profile),
            .films = scoreFilms(profile),
            .generatedAt = clock_.now(),
            .aiEnhanced = false};
}

std::vector<CameraRecommendation> GearRecommendationService::scoreCameras(
    const ShootingProfile& profile) const {
    return recommend(cameraEntries_, profile, cameraTables());
}

std::vector<FilmRecommendation> GearRecommendationService::scoreFilms(const ShootingProfile& profile) const {
    return recommend(filmEntries_, profile, filmTables());
}

}  // namespace kelvaris
