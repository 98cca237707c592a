#include "advisor/foundation_models_reasoning_service.h"

#include <unordered_map>
#include <utility>

#include "base/log.h"
#include "base/text.h"
#include "vocabulary/json_record.h"

namespace kelvaris {

namespace {

using ReasoningItem = FoundationModelsReasoningService::ReasoningItem;
using ProfileSectionItem = FoundationModelsReasoningService::ProfileSectionItem;

constexpr std::string_view category = "Reasoning";
constexpr std::string_view instructions =
    "You write short, warm texts about film photography. Answer with the requested JSON and nothing else.";

template <class Item>
std::optional<std::vector<Item>> parsed(std::string_view text) {
    if (text.size() > FoundationModelsReasoningService::responseLimit) return std::nullopt;
    return decodedJson<std::vector<Item>>(stripMarkdownFences(text));
}

using Texts = std::unordered_map<std::string, std::string>;

/// Each item with a text takes it. @return whether any did.
template <class Entry>
bool takeTexts(std::vector<Recommendation<Entry>>& items, const Texts& texts) {
    bool replaced = false;
    for (Recommendation<Entry>& item : items) {
        const auto found = texts.find(item.entry.catalogId);
        if (found == texts.end()) continue;
        item.reasoning = found->second;
        replaced = true;
    }
    return replaced;
}

template <class Item>
std::optional<std::vector<Item>> asked(const FoundationModelsReasoningService& service,
                                       const std::string& prompt, std::string_view what) {
    const auto response = service.generateResponse(prompt);
    if (!response) {
        log::info(category, "No {}: {}", what, response.error());
        return std::nullopt;
    }
    auto items = parsed<Item>(*response);
    if (!items)
        log::info(category, "Ignored an answer of {} bytes that is no list of {}", response->size(), what);
    return items;
}

}  // namespace

GearRecommendationResult FoundationModelsReasoningService::enhance(GearRecommendationResult result,
                                                                   const ShootingProfile& profile) const {
    if (!responseProvider && (model_ == nullptr || !model_->isAvailable())) return result;
    const std::string description = profileDescription(profile);
    bool replaced = false;
    if (!result.cameras.empty() || !result.films.empty()) {
        const std::string prompt = buildGearPrompt(description, result.cameras, result.films);
        if (const auto items = asked<ReasoningItem>(*this, prompt, "gear texts")) {
            Texts texts;
            for (const ReasoningItem& item : *items) {
                // A blank text would take the reasons away instead of rewriting them.
                if (!trimmed(item.reasoning).empty()) texts.try_emplace(item.catalogId, item.reasoning);
            }
            const bool cameras = takeTexts(result.cameras, texts);
            const bool films = takeTexts(result.films, texts);
            replaced = cameras || films;
        }
    }
    const std::string prompt = buildProfilePrompt(description, profile);
    if (auto sections = asked<ProfileSectionItem>(*this, prompt, "profile sections")) {
        std::erase_if(*sections, [](const ProfileSectionItem& item) { return trimmed(item.body).empty(); });
        if (!sections->empty()) {
            result.profileSections = *std::move(sections);
            replaced = true;
        }
    }
    if (replaced) result.aiEnhanced = true;
    return result;
}

FoundationModelsReasoningService::Response FoundationModelsReasoningService::generateResponse(
    const std::string& prompt) const {
    if (responseProvider) return responseProvider(prompt);
    if (model_ == nullptr) return Unexpected(std::string("no language model"));
    return model_->respond(std::string(instructions), prompt, GenerationOptions{});
}

std::string_view stripMarkdownFences(std::string_view text) {
    text = trimmed(text);
    for (const std::string_view fence : {"```json", "```"}) {
        if (!text.starts_with(fence)) continue;
        text.remove_prefix(fence.size());
        break;
    }
    if (text.ends_with("```")) text.remove_suffix(3);
    return trimmed(text);
}

std::optional<std::vector<ReasoningItem>> parseReasoningResponse(std::string_view text) {
    return parsed<ReasoningItem>(text);
}

std::optional<std::vector<ProfileSectionItem>> parseProfileResponse(std::string_view text) {
    return parsed<ProfileSectionItem>(text);
}

}  // namespace kelvaris
