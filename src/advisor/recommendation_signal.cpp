#include "advisor/recommendation_signal.h"

#include <string_view>

namespace kelvaris {

namespace {

/// A key that ends in "_" is completed by what the signal points to.
std::string_view keyWord(RecommendationSignal::Kind kind) {
    using enum RecommendationSignal::Kind;
    switch (kind) {
        case formatExpansion:
            return "formatExpansion";
        case typeExpansion:
            return "typeExpansion_";
        case subjectMatch:
            return "subject_";
        case newBrand:
            return "brand_";
        case paletteMatch:
            return "palette_";
        case compactForStreet:
            return "compactStreet";
        case lowLight:
            return "lowLight";
        case fastLens:
            return "fastLens";
        case bokehLover:
            return "bokeh";
        case indoorShooter:
            return "indoor";
        case highVolume:
            return "highVolume";
        case experimental:
            return "experimental";
        case largeFormatUpgrade:
            return "largeFormat";
        case waistLevelForPeople:
            return "waistLevel";
        case portraitMediumFormat:
            return "portraitMF";
        case strongAesthetic:
            return "aesthetic";
        case exposureHelp:
            return "exposure";
        case colorExpansion:
            return "colorExpansion";
        case bwExpansion:
            return "bwExpansion";
        case slideDiscovery:
            return "slideDiscovery";
        case forgivingLatitude:
            return "forgiving";
        case highSpeedForNight:
            return "highSpeed";
        case nightFilm:
            return "nightFilm";
        case vividLandscape:
            return "vividLandscape";
        case fineGrainArchitecture:
            return "fineGrain";
        case warmForSubject:
            return "warmSubject";
        case goldenHourFilm:
            return "goldenHour";
        case budgetForVolume:
            return "budget";
        case isoExpansionHigh:
            return "isoHigh";
        case isoExpansionLow:
            return "isoLow";
        case easyBW:
            return "easyBW";
        case pushableForAction:
            return "pushableAction";
        case cinematicNight:
            return "cinematicNight";
    }
    return "none";
}

}  // namespace

std::string signalKey(const std::optional<RecommendationSignal>& signal) {
    if (!signal) return "none";
    std::string key(keyWord(signal->kind));
    if (key.ends_with('_')) key += signal->to;
    return key;
}

}  // namespace kelvaris
