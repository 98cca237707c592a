#pragma once

#include <optional>
#include <string>

namespace kelvaris {

/// Why an item was recommended: what a rule that fired leaves behind, later told in a sentence.
struct RecommendationSignal {
    enum class Kind {
        formatExpansion,  ///< from and to are formats
        typeExpansion,    ///< from and to are camera types
        subjectMatch,     ///< to is the subject
        newBrand,         ///< to is the brand or make
        paletteMatch,     ///< to is the palette
        compactForStreet,
        lowLight,
        fastLens,
        bokehLover,
        indoorShooter,
        highVolume,
        experimental,
        largeFormatUpgrade,
        waistLevelForPeople,
        portraitMediumFormat,
        strongAesthetic,
        exposureHelp,
        colorExpansion,
        bwExpansion,
        slideDiscovery,
        forgivingLatitude,
        highSpeedForNight,
        nightFilm,
        vividLandscape,
        fineGrainArchitecture,
        warmForSubject,
        goldenHourFilm,
        budgetForVolume,
        isoExpansionHigh,
        isoExpansionLow,
        easyBW,
        pushableForAction,
        cinematicNight,
    };
    Kind kind;
    std::string to;
    std::string from;

    bool operator==(const RecommendationSignal&) const = default;
};

/// The text by which signals are told apart when openers must differ; "none" without a signal.
std::string signalKey(const std::optional<RecommendationSignal>& signal);

}  // namespace kelvaris
