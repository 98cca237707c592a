#include "application/gear_advice.h"

#include <utility>

#include "base/log.h"

namespace kelvaris {

void GearAdvice::readStored() {
    const auto stored = store_.load();
    if (!stored || !stored->gearRecommendations) return;
    assign(GearAdviceField::gearRecommendationResult, result_, stored->gearRecommendations->toResult());
}

bool GearAdvice::generate(std::span<const RollPointer> rolls, std::function<void()> completion) {
    if (isGenerating_) return false;
    assign(GearAdviceField::isGeneratingGearRecommendations, isGenerating_, true);
    auto finished = [this, &main = main_, alive = lifetime_.weak(),
                     completion = std::move(completion)](GearRecommendationResult result) {
        main.post([this, alive, completion, result = std::move(result)] {
            if (!alive.lock()) return;
            take(result);
            if (completion) completion();
        });
    };
    service_.generateRecommendations(RollSnapshot::capture(rolls), std::move(finished));
    return true;
}

void GearAdvice::take(GearRecommendationResult result) {
    // The file may hold keys that nothing here knows the value of, so it is read and changed in one key.
    VaultPreferences record = store_.load().value_or(VaultPreferences{});
    record.gearRecommendations = VaultGearRecommendations::from(result);
    if (!store_.save(record)) log::error("GearAdvice", "Cannot keep the gear recommendations");
    assign(GearAdviceField::gearRecommendationResult, result_, std::move(result));
    assign(GearAdviceField::isGeneratingGearRecommendations, isGenerating_, false);
}

}  // namespace kelvaris
