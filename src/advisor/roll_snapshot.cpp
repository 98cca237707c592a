#include "advisor/roll_snapshot.h"

#include "library/film_roll.h"

namespace kelvaris {

namespace {

RollSnapshot::PhotoSnapshot captured(const PhotoItem& photo) {
    if (!photo.labelsAnalyzed()) return {};
    return {.labels = photo.labels(),
            .qualityScore = photo.qualityScore(),
            .peopleCount = photo.peopleCount(),
            .labelsAnalyzed = true,
            .nimaScore = photo.nimaScore(),
            .clipLabels = photo.clipLabels(),
            .dominantColors = photo.dominantColors(),
            .placeCategories = photo.placeCategories()};
}

}  // namespace

RollSnapshot RollSnapshot::capture(std::span<const std::shared_ptr<FilmRoll>> rolls) {
    RollSnapshot snapshot;
    snapshot.rolls.reserve(rolls.size());
    for (const auto& roll : rolls) {
        RollData data{.cameraMake = roll->cameraMake(),
                      .cameraModel = roll->cameraModel(),
                      .cameraFormat = roll->cameraFormat(),
                      .filmName = roll->filmName(),
                      .filmISO = roll->filmISO()};
        data.photos.reserve(roll->photos().size());
        for (const PhotoPointer& photo : roll->photos()) data.photos.push_back(captured(*photo));
        snapshot.rolls.push_back(std::move(data));
    }
    return snapshot;
}

}  // namespace kelvaris
