#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "advisor/shooting_profile.h"
#include "base/describe.h"
#include "base/result.h"
#include "platform/language_model.h"
#include "vocabulary/gear_recommendations.h"

namespace kelvaris {

/// Lets a language model rewrite the prose of recommendations. It never changes what is recommended, and
/// a model that is missing, fails or answers with something else leaves the prose as it was. Blocking:
/// to be called off the main thread. Any thread.
class FoundationModelsReasoningService {
public:
    /// One element of the answer on gear.
    struct ReasoningItem {
        std::string catalogId;
        std::string reasoning;

        bool operator==(const ReasoningItem&) const = default;
    };
    /// One element of the answer on the profile.
    using ProfileSectionItem = CodableProfileSection;

    using Response = Result<std::string, std::string>;
    using ResponseProvider = std::function<Response(const std::string& prompt)>;

    /// A longer answer is none: six short texts do not need more.
    static constexpr std::size_t responseLimit = 64 << 10;

    /// @param model must outlive the service; nullptr when there is none.
    explicit FoundationModelsReasoningService(const LanguageModel* model = nullptr) : model_(model) {}

    /// When set, it stands in place of the model.
    ResponseProvider responseProvider;

    /// The result with what the model wrote; the one that was given when nothing could be improved.
    GearRecommendationResult enhance(GearRecommendationResult result, const ShootingProfile& profile) const;

    Response generateResponse(const std::string& prompt) const;

private:
    const LanguageModel* const model_;
};

template <class Visitor>
void describe(Visitor& visitor, FoundationModelsReasoningService::ReasoningItem& record) {
    visitor.required("catalogId", record.catalogId, "Which item");
    visitor.required("reasoning", record.reasoning, "Its text");
}

/// The photographer in a few lines, as prompts describe them.
std::string profileDescription(const ShootingProfile& profile);

std::string buildGearPrompt(std::string_view profileDescription,
                            std::span<const CameraRecommendation> cameras,
                            std::span<const FilmRecommendation> films);
std::string buildProfilePrompt(std::string_view profileDescription, const ShootingProfile& profile);

/// Without white space at both ends and without a Markdown fence around it.
std::string_view stripMarkdownFences(std::string_view text);

/// The answer to a prompt, fenced or bare; nothing when it is no JSON array of just such items.
std::optional<std::vector<FoundationModelsReasoningService::ReasoningItem>> parseReasoningResponse(
    std::string_view text);
std::optional<std::vector<FoundationModelsReasoningService::ProfileSectionItem>> parseProfileResponse(
    std::string_view text);

}  // namespace kelvaris
