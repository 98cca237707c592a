#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>

#include "advisor/gear_recommendation_service.h"
#include "base/lifetime.h"
#include "base/main_queue.h"
#include "base/observable.h"
#include "library/film_roll.h"
#include "preferences/preferences_store.h"

namespace kelvaris {

enum class GearAdviceField { gearRecommendationResult, isGeneratingGearRecommendations };

/// The latest gear recommendations: made when the user asks, kept in the preferences file until the next
/// time. Main thread. What it is given must outlive it.
class GearAdvice : public Observable<GearAdviceField> {
public:
    GearAdvice(const GearRecommendationService& service, PreferencesStore& store, MainQueue& main)
        : service_(service), store_(store), main_(main) {}

    const std::optional<GearRecommendationResult>& gearRecommendationResult() const { return result_; }
    bool isGeneratingGearRecommendations() const { return isGenerating_; }

    /// Takes the recommendations of an earlier run out of the preferences file, if it holds any.
    void readStored();

    /// Makes new recommendations from the rolls and keeps them.
    /// @param completion once they stand, on the main thread; may be empty.
    /// @return false, having done nothing, while others are being made.
    bool generate(std::span<const RollPointer> rolls, std::function<void()> completion);

private:
    void take(GearRecommendationResult result);

    const GearRecommendationService& service_;
    PreferencesStore& store_;
    MainQueue& main_;
    std::optional<GearRecommendationResult> result_;
    bool isGenerating_ = false;
    Lifetime lifetime_;
};

}  // namespace kelvaris
