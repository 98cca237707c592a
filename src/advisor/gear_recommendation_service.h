#pragma once

#include <functional>
#include <vector>

#include "advisor/catalog_service.h"
#include "advisor/recommendation_engine.h"
#include "advisor/roll_snapshot.h"
#include "base/operation_queue.h"
#include "platform/clock.h"
#include "platform/language.h"

namespace kelvaris {

class FoundationModelsReasoningService;

/// Suggests cameras and film stocks that the photographer has not used, with reasons drawn from what the
/// library shows. Holds nothing but its catalogs; any thread. What it is given must outlive it.
class GearRecommendationService {
public:
    /// @param prose rewrites the sentences of a finished result; nullptr leaves them as they are.
    GearRecommendationService(const CatalogService& catalog, const Language& language, const Clock& clock,
                              OperationQueue& queue, const FoundationModelsReasoningService* prose = nullptr);

    /// Builds the profile, recommends, and calls the completion, all on the queue; the caller goes back to
    /// the main thread itself.
    void generateRecommendations(RollSnapshot snapshot,
                                 std::function<void(GearRecommendationResult)> completion) const;

    /// The whole advice for a library, without the language model. Any thread.
    GearRecommendationResult recommendations(const ShootingProfile& profile) const;

    /// At most three each; the best first, and varied.
    std::vector<CameraRecommendation> scoreCameras(const ShootingProfile& profile) const;
    std::vector<FilmRecommendation> scoreFilms(const ShootingProfile& profile) const;

private:
    const CatalogService& catalog_;
    const Language& language_;
    const Clock& clock_;
    OperationQueue& queue_;
    const FoundationModelsReasoningService* const prose_;
    std::vector<Candidate<CameraRecommendationEntry>> cameraEntries_;
    std::vector<Candidate<FilmRecommendationEntry>> filmEntries_;
};

}  // namespace kelvaris
