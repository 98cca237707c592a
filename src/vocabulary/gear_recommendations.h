#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/describe.h"
#include "base/instant.h"

namespace kelvaris {

/// What the advisor knows about a camera that it can recommend.
struct CameraRecommendationEntry {
    std::string catalogId;  ///< id of the camera in the catalog
    std::string make;
    std::string model;
    std::string type;         ///< "SLR", "Rangefinder", "TLR", "Point & Shoot", "Half Frame" ...
    std::string format;       ///< a stored word of FilmFormat
    std::string priceTier;    ///< "budget", "mid" or "premium"
    std::string weightClass;  ///< "compact", "medium" or "heavy"
    std::vector<std::string> goodFor;
    std::vector<std::string> features;
    std::string vibe;  ///< one sentence on what it is like to use

    bool operator==(const CameraRecommendationEntry&) const = default;
};

template <class Visitor>
void describe(Visitor& visitor, CameraRecommendationEntry& record) {
    visitor.required("catalogId", record.catalogId, "Catalog id of the camera");
    visitor.required("make", record.make, "Maker");
    visitor.required("model", record.model, "Model");
    visitor.required("type", record.type, "Kind of camera");
    visitor.required("format", record.format, "Film format");
    visitor.required("priceTier", record.priceTier, "budget, mid or premium");
    visitor.required("weightClass", record.weightClass, "compact, medium or heavy");
    visitor.required("goodFor", record.goodFor, "What it suits");
    visitor.required("features", record.features, "What it has");
    visitor.required("vibe", record.vibe, "What it is like to use");
}

/// What the advisor knows about a film stock that it can recommend.
struct FilmRecommendationEntry {
    std::string catalogId;  ///< id of the stock in the catalog
    std::string brand;
    std::string name;
    int iso = 0;
    std::string type;       ///< "BW", "CN", "CR", "BWR", "SP" or "IR"
    std::string priceTier;  ///< "budget", "mid" or "premium"
    std::string grain;      ///< "fine", "medium" or "coarse"
    std::string palette;    ///< "warm", "cool", "vivid", "neutral", "muted" or "monochrome"
    std::string latitude;   ///< "forgiving", "moderate" or "narrow"
    std::vector<std::string> goodFor;
    std::string vibe;  ///< one sentence on its look

    bool operator==(const FilmRecommendationEntry&) const = default;
};

template <class Visitor>
void describe(Visitor& visitor, FilmRecommendationEntry& record) {
    visitor.required("catalogId", record.catalogId, "Catalog id of the film stock");
    visitor.required("brand", record.brand, "Brand");
    visitor.required("name", record.name, "Name");
    visitor.required("iso", record.iso, "Box speed");
    visitor.required("type", record.type, "BW, CN, CR, BWR, SP or IR");
    visitor.required("priceTier", record.priceTier, "budget, mid or premium");
    visitor.required("grain", record.grain, "fine, medium or coarse");
    visitor.required("palette", record.palette, "How it draws colors");
    visitor.required("latitude", record.latitude, "forgiving, moderate or narrow");
    visitor.required("goodFor", record.goodFor, "What it suits");
    visitor.required("vibe", record.vibe, "What it looks like");
}

/// One recommended camera or film stock, and why.
template <class Entry>
struct Recommendation {
    std::string id;  ///< a UUID in its text form, fresh per recommendation
    Entry entry;
    std::string reasoning;

    bool operator==(const Recommendation&) const = default;
};

using CameraRecommendation = Recommendation<CameraRecommendationEntry>;
using FilmRecommendation = Recommendation<FilmRecommendationEntry>;

template <class Visitor, class Entry>
void describe(Visitor& visitor, Recommendation<Entry>& record) {
    visitor.required("id", record.id, "Identifier of this recommendation");
    visitor.required("entry", record.entry, "What is recommended");
    visitor.required("reasoning", record.reasoning, "Why");
}

/// A titled paragraph about the photographer.
struct CodableProfileSection {
    std::string title;
    std::string icon;  ///< a symbol name
    std::string body;

    bool operator==(const CodableProfileSection&) const = default;
};

template <class Visitor>
void describe(Visitor& visitor, CodableProfileSection& record) {
    visitor.required("title", record.title, "Heading");
    visitor.required("icon", record.icon, "Symbol name");
    visitor.required("body", record.body, "Text");
}

/// What the advisor made of a library.
struct GearRecommendationResult {
    std::vector<CodableProfileSection> profileSections;
    std::vector<CameraRecommendation> cameras;
    std::vector<FilmRecommendation> films;
    Instant generatedAt;
    bool aiEnhanced = false;  ///< a language model wrote at least some of the prose

    bool operator==(const GearRecommendationResult&) const = default;
};

template <class Visitor>
void describe(Visitor& visitor, GearRecommendationResult& record) {
    visitor.required("profileSections", record.profileSections, "About the photographer");
    visitor.required("cameras", record.cameras, "Recommended cameras");
    visitor.required("films", record.films, "Recommended film stocks");
    visitor.required("generatedAt", record.generatedAt, "When they were made");
    visitor.required("aiEnhanced", record.aiEnhanced, "Whether a language model wrote prose");
}

/// The form in which recommendations are kept in the preferences file. Files of older versions have one
/// summary text in place of the sections, and no mark of the prose's origin.
struct VaultGearRecommendations {
    std::optional<std::string> profileSummary;
    std::optional<std::vector<CodableProfileSection>> profileSections;
    std::vector<CameraRecommendation> cameras;
    std::vector<FilmRecommendation> films;
    Instant generatedAt;
    std::optional<bool> aiEnhanced;

    bool operator==(const VaultGearRecommendations&) const = default;

    static VaultGearRecommendations from(const GearRecommendationResult& result) {
        return {.profileSections = result.profileSections,
                .cameras = result.cameras,
                .films = result.films,
                .generatedAt = result.generatedAt,
                .aiEnhanced = result.aiEnhanced};
    }

    /// A summary of the older form becomes the one section there is.
    GearRecommendationResult toResult() const {
        GearRecommendationResult result{.cameras = cameras,
                                        .films = films,
                                        .generatedAt = generatedAt,
                                        .aiEnhanced = aiEnhanced.value_or(false)};
        if (profileSections) {
            result.profileSections = *profileSections;
        } else if (profileSummary && !profileSummary->empty()) {
            result.profileSections = {{.title = "Your Eye", .icon = "eye", .body = *profileSummary}};
        }
        return result;
    }
};

template <class Visitor>
void describe(Visitor& visitor, VaultGearRecommendations& record) {
    visitor.optional("profileSummary", record.profileSummary, "Older form of the profile");
    visitor.optional("profileSections", record.profileSections, "About the photographer");
    visitor.required("cameras", record.cameras, "Recommended cameras");
    visitor.required("films", record.films, "Recommended film stocks");
    visitor.required("generatedAt", record.generatedAt, "When they were made");
    visitor.optional("aiEnhanced", record.aiEnhanced, "Whether a language model wrote prose");
}

}  // namespace kelvaris
