#include "analysis/scene_prompts.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "analysis/scene_labels.h"

namespace kelvaris {
namespace {

/// Words that a picture hardly tells apart, or of which one says what the other says. Those of a family
/// must lead to the same label, since the whole family scores with its best member.
constexpr auto families = std::to_array<std::string_view>({
    "landscape scenery countryside wilderness panorama horizon",
    "sunset sunrise",
    "field meadow prairie",
    "desert dune",
    "street road sidewalk alley",
    "city urban downtown",
    "store shop market",
    "town suburb neighborhood",
    "traffic intersection",
    "building architecture",
    "church cathedral",
    "castle palace",
    "barn shed",
    "warehouse factory",
    "column arch",
    "animal wildlife pet",
    "reptile lizard",
    "flower bloom bouquet",
    "plant shrub hedge",
    "food meal dining cooking snack",
    "bakery bread",
    "dessert cake",
    "cafe coffee",
    "night starry",
    "firework fireworks",
    "sport sports game",
    "running race",
    "exercise gym",
    "soccer football",
    "text document letter writing",
    "newspaper magazine",
    "sign poster billboard banner",
    "receipt ticket card",
    "vehicle car",
    "truck van",
    "train tram subway",
    "motorcycle scooter",
    "boat ship ferry",
    "canoe kayak",
    "ocean sea wave tide",
    "beach shore coast",
    "river stream creek canal",
    "lake pond reservoir",
    "harbor marina dock",
    "person people human man woman",
    "child kid boy girl baby toddler",
    "portrait selfie",
});

/// What no article goes with.
constexpr std::string_view bareWords =
    "scenery wilderness traffic architecture wildlife moss seaweed food fruit coffee wine beer pizza sushi "
    "bread cooking dining candy cheese fireworks sports running cycling swimming dancing skateboarding "
    "surfing soccer basketball baseball tennis exercise climbing hiking skiing snowboarding yoga fishing "
    "camping golf football volleyball hockey wrestling gymnastics diving text writing water people";

struct Wording {
    std::string_view word;
    std::string_view words;
};

/// Words that mean a thing only with another one.
constexpr auto wordings = std::to_array<Wording>({
    {"countryside", "the countryside"},
    {"horizon", "the horizon"},
    {"urban", "an urban scene"},
    {"downtown", "a downtown district"},
    {"parking", "a parking lot"},
    {"arch", "an arch of a building"},
    {"column", "a column of a building"},
    {"palm", "a palm tree"},
    {"bloom", "flowers in bloom"},
    {"drink", "a drink in a glass"},
    {"grocery", "groceries"},
    {"ice cream", "ice cream"},
    {"night", "a night scene"},
    {"neon", "neon lights"},
    {"starry", "a starry sky"},
    {"sport", "a sport event"},
    {"race", "a race of athletes"},
    {"game", "a game of sports"},
    {"jump", "a person jumping"},
    {"card", "a printed card"},
    {"letter", "a written letter"},
    {"subway", "a subway train"},
    {"sea", "the sea"},
    {"ocean", "the ocean"},
    {"tide", "the tide at the shore"},
    {"wave", "a wave of the sea"},
    {"coast", "the coast"},
    {"shore", "the shore"},
});

constexpr auto background = std::to_array<std::string_view>({
    "a photo",
    "a photo of something",
    "a photo of nothing in particular",
    "a photo of an object",
    "a close-up of a thing",
    "a photo of a room",
    "a photo of a plain surface",
    "an abstract pattern",
    "a blurred picture",
    "an empty film frame",
});

/// Whether the word is one of those in the list, which blanks part.
constexpr bool isListed(std::string_view list, std::string_view word) {
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(' '), list.size());
        if (list.substr(0, end) == word) return true;
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return false;
}

/// A label's number, one for person words, or nothing for words outside of the vocabulary.
constexpr std::optional<int> meaningOf(std::string_view word) {
    for (const SceneWord& each : classificationMapping) {
        if (each.identifier == word) return static_cast<int>(each.label);
    }
    for (const std::string_view each : personWords) {
        if (each == word) return -1;
    }
    return std::nullopt;
}

/// The words of a family mean one thing, and no word has two families.
constexpr bool isSound(std::size_t family) {
    std::string_view rest = families[family];
    const std::optional<int> meaning = meaningOf(rest.substr(0, rest.find(' ')));
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(' '), rest.size());
        const std::string_view word = rest.substr(0, end);
        if (!meaning || meaningOf(word) != meaning) return false;
        for (std::size_t other = 0; other < family; ++other) {
            if (isListed(families[other], word)) return false;
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return true;
}

/// One evaluation for each family, since compilers bound how long a single one may take.
template <std::size_t family>
constexpr bool isFamilySound = isSound(family);

template <std::size_t... family>
constexpr bool areSound(std::index_sequence<family...>) {
    return (isFamilySound<family> && ...);
}
static_assert(areSound(std::make_index_sequence<families.size()>()));

std::string sentence(std::string_view word) {
    const std::string start = "a photo of ";
    const auto wording = std::ranges::find(wordings, word, &Wording::word);
    if (wording != wordings.end()) return start + std::string(wording->words);
    if (isListed(bareWords, word)) return start + std::string(word);
    const bool beginsWithVowel = std::string_view("aeiou").find(word.front()) != std::string_view::npos;
    return start + (beginsWithVowel ? "an " : "a ") + std::string(word);
}

std::vector<ScenePrompt> allPrompts() {
    std::vector<ScenePrompt> prompts;
    // Words without a family get one of their own, numbered behind the others.
    const auto add = [&prompts](std::string_view word) {
        const auto family =
            std::ranges::find_if(families, [word](std::string_view list) { return isListed(list, word); });
        prompts.push_back({word, sentence(word),
                           family == families.end() ? families.size() + prompts.size()
                                                    : static_cast<std::size_t>(family - families.begin())});
    };
    for (const SceneWord& each : classificationMapping) add(each.identifier);
    for (const std::string_view word : personWords) add(word);
    return prompts;
}

}  // namespace

const std::vector<ScenePrompt>& scenePrompts() {
    static const std::vector<ScenePrompt> prompts = allPrompts();
    return prompts;
}

std::span<const std::string_view> backgroundSentences() { return background; }

}  // namespace kelvaris
