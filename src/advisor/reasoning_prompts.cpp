#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <utility>

#include "advisor/foundation_models_reasoning_service.h"
#include "advisor/profile_sections.h"
#include "advisor/recommendation_engine.h"

namespace kelvaris {

namespace {

constexpr std::array filmTypeWords{
    std::pair<std::string_view, std::string_view>{"CN", "Color Negative"},
    std::pair<std::string_view, std::string_view>{"BW", "Black & White"},
    std::pair<std::string_view, std::string_view>{"CR", "Color Reversal"},
    std::pair<std::string_view, std::string_view>{"BWR", "Black & White Reversal"},
    std::pair<std::string_view, std::string_view>{"SP", "Special"},
    std::pair<std::string_view, std::string_view>{"IR", "Infrared"},
};

std::string_view filmTypeInWords(std::string_view type) {
    for (const auto& [stored, words] : filmTypeWords) {
        if (stored == type) return words;
    }
    return type;
}

std::string subjectLine(const ShootingProfile& profile) {
    const std::string_view dominant = profile.dominantSubject();
    if (dominant == "versatile") return "Versatile — no single dominant subject";
    std::string line = fmt::format("Primary subject: {} ({}% of frames)", dominant,
                                   wholePercent(profile.subjectFraction(dominant)));
    const auto others = profile.secondarySubjects();
    for (std::size_t i = 0; i < std::min<std::size_t>(others.size(), 2); ++i) {
        line += fmt::format("{}{} ({}%)", i == 0 ? ", also " : ", ", others[i].first,
                            wholePercent(others[i].second));
    }
    return line;
}

std::string formatLine(const ShootingProfile& profile) {
    if (areAll(profile.usedFormats, "35mm")) return "Format: 35mm only — never tried medium format";
    if (profile.usedFormats.size() < 2) return {};
    return fmt::format("Format: shoots {}", fmt::join(profile.usedFormats, ", "));
}

std::string filmLine(const ShootingProfile& profile) {
    const auto& types = profile.usedFilmTypes;
    if (types.empty()) return {};
    if (areAll(types, "BW")) return "Film: black and white only";
    if (types.contains("BW")) return "Film: shoots both color and B&W";
    if (types.contains("CR")) return "Film: color (negative and slide)";
    return "Film: color negative only, never tried slide";
}

std::string styleLine(const ShootingProfile& profile) {
    const auto traits = profile.styleTraits();
    return traits.empty() ? std::string() : fmt::format("Style: {}", fmt::join(traits, ", "));
}

std::string colorLine(const ShootingProfile& profile) {
    const bool warm = profile.warmColorRatio > 0.4;
    const bool cool = profile.coolColorRatio > 0.4;
    if (warm && !cool) return "Color palette: tends warm (ambers, golds, earth tones)";
    if (cool && !warm) return "Color palette: tends cool (blues, greens, grays)";
    return {};
}

std::string exposureLine(const ShootingProfile& profile) {
    switch (exposureHabit(profile)) {
        case ExposureHabit::none:
            return {};
        case ExposureHabit::underexposes:
            return fmt::format("Exposure: tends to underexpose ({}% of frames dark)",
                               wholePercent(profile.darkPercent));
        case ExposureHabit::overexposes:
            return fmt::format("Exposure: tends to overexpose ({}% blown highlights)",
                               wholePercent(profile.blowoutPercent));
    }
    return {};
}

std::string aestheticLine(const ShootingProfile& profile) {
    const bool isStrong =
        profile.avgNimaScore && profile.nimaPhotosCount >= 11 && *profile.avgNimaScore > 0.65;
    return isStrong ? "Aesthetic quality: strong — consistently good compositions" : "";
}

std::string volumeLine(const ShootingProfile& profile) {
    return fmt::format("Volume: {} rolls, {} frames", profile.totalRolls, profile.totalPhotos);
}

std::string cameraTypesLine(const ShootingProfile& profile) {
    if (profile.usedCameraTypes.empty()) return {};
    return fmt::format("Camera types used: {}", fmt::join(profile.usedCameraTypes, ", "));
}

constexpr std::array descriptionLines{subjectLine,  formatLine,    filmLine,   styleLine,      colorLine,
                                      exposureLine, aestheticLine, volumeLine, cameraTypesLine};

std::string block(std::string_view catalogId, std::string_view item, std::string_view vibe) {
    return fmt::format("- catalogId: {}\n  {}\n  vibe: {}\n", catalogId, item, vibe);
}

constexpr std::string_view gearOpening =
    "You write gear recommendations for Kelvaris, an analog film photography app.\n"
    "\n"
    "Given this photographer's profile, write a short personalized recommendation for each piece of gear "
    "listed below. Sound like a knowledgeable friend at a camera shop — specific, warm, slightly "
    "opinionated. "
    "Never corporate or generic.\n"
    "\n"
    "Rules:\n"
    "- 2-3 sentences per item, roughly 50 words\n"
    "- Every item MUST start with a completely different opening sentence\n"
    "- Reference the shooter's actual patterns where specific\n"
    "- End each recommendation by incorporating the item's vibe text (provided below)\n"
    "- Do NOT repeat phrases across items\n"
    "\n"
    "Photographer:\n";

constexpr std::string_view gearClosing =
    "\nRespond with ONLY a JSON array. No markdown fences, no explanation, no extra text:\n"
    "[{\"catalogId\": \"...\", \"reasoning\": \"...\"}, ...]";

constexpr std::string_view profileOpening =
    "You write photographer profiles for Kelvaris, an analog film photography app.\n"
    "\n"
    "Based on this photographer's data, write short, warm profile sections. Sound like a knowledgeable "
    "friend — "
    "specific, direct, slightly opinionated. Not corporate or generic.\n"
    "\n"
    "Rules:\n"
    "- Each section: 2-3 sentences, roughly 40-60 words\n"
    "- Reference actual numbers and patterns from the profile\n"
    "- Use the exact section titles and icons provided\n"
    "- Be genuinely insightful, not just restating numbers\n"
    "\n"
    "Photographer:\n";

constexpr std::string_view profileClosing =
    "\n\nRespond with ONLY a JSON array. No markdown fences, no explanation:\n"
    "[{\"title\": \"Your Eye\", \"icon\": \"eye\", \"body\": \"...\"}, ...]";

constexpr std::string_view eyeLine =
    "\"Your Eye\" (icon: \"eye\"): 2-3 sentences about who they are as a photographer — identity, what they "
    "shoot, volume. Warm and specific.";
constexpr std::string_view styleSectionLine =
    "\"Your Style\" (icon: \"paintpalette\"): 2-3 sentences about their visual style — color palette, "
    "aesthetic "
    "tendencies, technical patterns. Only include if there's data to reference.";
constexpr std::string_view growLine =
    "\"Room to Grow\" (icon: \"arrow.up.right\"): 1-2 sentences with a gentle, encouraging nudge toward "
    "something "
    "they haven't tried. Never condescending.";

}  // namespace

std::string profileDescription(const ShootingProfile& profile) {
    std::vector<std::string> lines;
    for (const auto& makeLine : descriptionLines) {
        if (std::string line = makeLine(profile); !line.empty()) lines.push_back(std::move(line));
    }
    return fmt::format("{}", fmt::join(lines, "\n"));
}

std::string buildGearPrompt(std::string_view description, std::span<const CameraRecommendation> cameras,
                            std::span<const FilmRecommendation> films) {
    std::string prompt = fmt::format("{}{}\n\nItems to write for:\n", gearOpening, description);
    for (const CameraRecommendation& camera : cameras) {
        const CameraRecommendationEntry& entry = camera.entry;
        prompt += block(entry.catalogId, entry.make + " " + entry.model, entry.vibe);
    }
    for (const FilmRecommendation& film : films) {
        const FilmRecommendationEntry& entry = film.entry;
        prompt += block(entry.catalogId,
                        fmt::format("{} {}, ISO {} ({})", entry.brand, entry.name, entry.iso,
                                    filmTypeInWords(entry.type)),
                        entry.vibe);
    }
    return prompt + std::string(gearClosing);
}

std::string buildProfilePrompt(std::string_view description, const ShootingProfile& profile) {
    std::vector<std::string_view> sections{eyeLine};
    if (!profile.styleTraits().empty()) sections.push_back(styleSectionLine);
    sections.push_back(growLine);
    return fmt::format("{}{}\n\nSections to write:\n{}{}", profileOpening, description,
                       fmt::join(sections, "\n"), profileClosing);
}

}  // namespace kelvaris
