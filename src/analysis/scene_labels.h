#pragma once

#include <array>
#include <optional>
#include <span>
#include <string_view>

#include "platform/vision.h"
#include "vocabulary/analysis_result.h"

namespace kelvaris {

struct SceneWord {
    std::string_view identifier;  ///< of a scene classifier's class, in lower case
    PhotoLabel label;
};

/// What the classes of a scene classifier say of a photo, by label.
inline constexpr std::array<SceneWord, 224> classificationMapping{{
    // clang-format off
    {"landscape", PhotoLabel::landscape}, {"mountain", PhotoLabel::landscape},
    {"forest", PhotoLabel::landscape}, {"sunset", PhotoLabel::landscape},
    {"countryside", PhotoLabel::landscape}, {"field", PhotoLabel::landscape},
    {"valley", PhotoLabel::landscape}, {"hill", PhotoLabel::landscape}, {"cliff", PhotoLabel::landscape},
    {"desert", PhotoLabel::landscape}, {"sunrise", PhotoLabel::landscape},
    {"scenery", PhotoLabel::landscape}, {"horizon", PhotoLabel::landscape},
    {"prairie", PhotoLabel::landscape}, {"meadow", PhotoLabel::landscape},
    {"canyon", PhotoLabel::landscape}, {"dune", PhotoLabel::landscape},
    {"wilderness", PhotoLabel::landscape}, {"panorama", PhotoLabel::landscape},
    {"marsh", PhotoLabel::landscape}, {"tundra", PhotoLabel::landscape},
    {"glacier", PhotoLabel::landscape}, {"volcano", PhotoLabel::landscape},
    {"street", PhotoLabel::street}, {"road", PhotoLabel::street}, {"city", PhotoLabel::street},
    {"urban", PhotoLabel::street}, {"sidewalk", PhotoLabel::street}, {"traffic", PhotoLabel::street},
    {"market", PhotoLabel::street}, {"store", PhotoLabel::street}, {"shop", PhotoLabel::street},
    {"downtown", PhotoLabel::street}, {"parking", PhotoLabel::street},
    {"intersection", PhotoLabel::street}, {"neighborhood", PhotoLabel::street},
    {"town", PhotoLabel::street}, {"suburb", PhotoLabel::street}, {"alley", PhotoLabel::street},
    {"building", PhotoLabel::architecture}, {"architecture", PhotoLabel::architecture},
    {"house", PhotoLabel::architecture}, {"bridge", PhotoLabel::architecture},
    {"church", PhotoLabel::architecture}, {"tower", PhotoLabel::architecture},
    {"castle", PhotoLabel::architecture}, {"cathedral", PhotoLabel::architecture},
    {"skyscraper", PhotoLabel::architecture}, {"monument", PhotoLabel::architecture},
    {"temple", PhotoLabel::architecture}, {"barn", PhotoLabel::architecture},
    {"shed", PhotoLabel::architecture}, {"stadium", PhotoLabel::architecture},
    {"warehouse", PhotoLabel::architecture}, {"factory", PhotoLabel::architecture},
    {"ruin", PhotoLabel::architecture}, {"dome", PhotoLabel::architecture},
    {"staircase", PhotoLabel::architecture}, {"column", PhotoLabel::architecture},
    {"arch", PhotoLabel::architecture}, {"mosque", PhotoLabel::architecture},
    {"lighthouse", PhotoLabel::architecture}, {"palace", PhotoLabel::architecture},
    {"animal", PhotoLabel::animal}, {"dog", PhotoLabel::animal}, {"cat", PhotoLabel::animal},
    {"bird", PhotoLabel::animal}, {"horse", PhotoLabel::animal}, {"pet", PhotoLabel::animal},
    {"wildlife", PhotoLabel::animal}, {"fish", PhotoLabel::animal}, {"insect", PhotoLabel::animal},
    {"reptile", PhotoLabel::animal}, {"butterfly", PhotoLabel::animal}, {"deer", PhotoLabel::animal},
    {"squirrel", PhotoLabel::animal}, {"rabbit", PhotoLabel::animal}, {"cow", PhotoLabel::animal},
    {"sheep", PhotoLabel::animal}, {"goat", PhotoLabel::animal}, {"pig", PhotoLabel::animal},
    {"lizard", PhotoLabel::animal}, {"snake", PhotoLabel::animal}, {"frog", PhotoLabel::animal},
    {"turtle", PhotoLabel::animal}, {"duck", PhotoLabel::animal}, {"chicken", PhotoLabel::animal},
    {"bear", PhotoLabel::animal}, {"elephant", PhotoLabel::animal}, {"lion", PhotoLabel::animal},
    {"tiger", PhotoLabel::animal}, {"monkey", PhotoLabel::animal}, {"penguin", PhotoLabel::animal},
    {"flower", PhotoLabel::flora}, {"plant", PhotoLabel::flora}, {"garden", PhotoLabel::flora},
    {"leaf", PhotoLabel::flora}, {"moss", PhotoLabel::flora}, {"vine", PhotoLabel::flora},
    {"shrub", PhotoLabel::flora}, {"bloom", PhotoLabel::flora}, {"cactus", PhotoLabel::flora},
    {"palm", PhotoLabel::flora}, {"mushroom", PhotoLabel::flora}, {"hedge", PhotoLabel::flora},
    {"fern", PhotoLabel::flora}, {"seaweed", PhotoLabel::flora}, {"bouquet", PhotoLabel::flora},
    {"food", PhotoLabel::food}, {"meal", PhotoLabel::food}, {"drink", PhotoLabel::food},
    {"dessert", PhotoLabel::food}, {"fruit", PhotoLabel::food}, {"vegetable", PhotoLabel::food},
    {"bakery", PhotoLabel::food}, {"cafe", PhotoLabel::food}, {"coffee", PhotoLabel::food},
    {"wine", PhotoLabel::food}, {"beer", PhotoLabel::food}, {"pizza", PhotoLabel::food},
    {"sushi", PhotoLabel::food}, {"bread", PhotoLabel::food}, {"cooking", PhotoLabel::food},
    {"dining", PhotoLabel::food}, {"snack", PhotoLabel::food}, {"candy", PhotoLabel::food},
    {"cheese", PhotoLabel::food}, {"grocery", PhotoLabel::food}, {"cake", PhotoLabel::food},
    {"ice cream", PhotoLabel::food},
    {"night", PhotoLabel::night}, {"firework", PhotoLabel::night}, {"fireworks", PhotoLabel::night},
    {"neon", PhotoLabel::night}, {"starry", PhotoLabel::night},
    {"sport", PhotoLabel::action}, {"sports", PhotoLabel::action}, {"running", PhotoLabel::action},
    {"cycling", PhotoLabel::action}, {"swimming", PhotoLabel::action}, {"dancing", PhotoLabel::action},
    {"skateboarding", PhotoLabel::action}, {"surfing", PhotoLabel::action}, {"soccer", PhotoLabel::action},
    {"basketball", PhotoLabel::action}, {"baseball", PhotoLabel::action}, {"tennis", PhotoLabel::action},
    {"exercise", PhotoLabel::action}, {"gym", PhotoLabel::action}, {"race", PhotoLabel::action},
    {"game", PhotoLabel::action}, {"jump", PhotoLabel::action}, {"climbing", PhotoLabel::action},
    {"hiking", PhotoLabel::action}, {"skiing", PhotoLabel::action}, {"snowboarding", PhotoLabel::action},
    {"yoga", PhotoLabel::action}, {"fishing", PhotoLabel::action}, {"camping", PhotoLabel::action},
    {"golf", PhotoLabel::action}, {"football", PhotoLabel::action}, {"volleyball", PhotoLabel::action},
    {"hockey", PhotoLabel::action}, {"wrestling", PhotoLabel::action}, {"gymnastics", PhotoLabel::action},
    {"diving", PhotoLabel::action},
    {"text", PhotoLabel::text}, {"document", PhotoLabel::text}, {"sign", PhotoLabel::text},
    {"letter", PhotoLabel::text}, {"book", PhotoLabel::text}, {"newspaper", PhotoLabel::text},
    {"magazine", PhotoLabel::text}, {"poster", PhotoLabel::text}, {"billboard", PhotoLabel::text},
    {"banner", PhotoLabel::text}, {"card", PhotoLabel::text}, {"writing", PhotoLabel::text},
    {"receipt", PhotoLabel::text}, {"ticket", PhotoLabel::text}, {"menu", PhotoLabel::text},
    {"vehicle", PhotoLabel::vehicle}, {"car", PhotoLabel::vehicle}, {"truck", PhotoLabel::vehicle},
    {"boat", PhotoLabel::vehicle}, {"train", PhotoLabel::vehicle}, {"airplane", PhotoLabel::vehicle},
    {"motorcycle", PhotoLabel::vehicle}, {"bicycle", PhotoLabel::vehicle}, {"bus", PhotoLabel::vehicle},
    {"ship", PhotoLabel::vehicle}, {"helicopter", PhotoLabel::vehicle}, {"tram", PhotoLabel::vehicle},
    {"scooter", PhotoLabel::vehicle}, {"wagon", PhotoLabel::vehicle}, {"taxi", PhotoLabel::vehicle},
    {"ambulance", PhotoLabel::vehicle}, {"subway", PhotoLabel::vehicle}, {"ferry", PhotoLabel::vehicle},
    {"canoe", PhotoLabel::vehicle}, {"kayak", PhotoLabel::vehicle}, {"sailboat", PhotoLabel::vehicle},
    {"van", PhotoLabel::vehicle},
    {"water", PhotoLabel::water}, {"ocean", PhotoLabel::water}, {"beach", PhotoLabel::water},
    {"waterfall", PhotoLabel::water}, {"river", PhotoLabel::water}, {"lake", PhotoLabel::water},
    {"pool", PhotoLabel::water}, {"sea", PhotoLabel::water}, {"wave", PhotoLabel::water},
    {"stream", PhotoLabel::water}, {"canal", PhotoLabel::water}, {"shore", PhotoLabel::water},
    {"coast", PhotoLabel::water}, {"tide", PhotoLabel::water}, {"pond", PhotoLabel::water},
    {"creek", PhotoLabel::water}, {"harbor", PhotoLabel::water}, {"marina", PhotoLabel::water},
    {"dock", PhotoLabel::water}, {"wetland", PhotoLabel::water}, {"reservoir", PhotoLabel::water},
    // clang-format on
}};

/// Classes that say that somebody is in the picture.
inline constexpr std::array<std::string_view, 13> personWords{
    "person", "people", "portrait", "selfie", "human", "child",  "kid",
    "boy",    "girl",   "man",      "woman",  "baby",  "toddler"};

/// The label of a class, however it is spelled in upper and lower case.
std::optional<PhotoLabel> labelOfScene(std::string_view identifier);

/// What a classifier's observations, in the order in which they came, make of a photo.
struct SceneReading {
    PhotoLabelSet labels;
    TagConfidences tags;
};

/// Adds to the labels: of the confident classes with a label, the best few that still fit in; and person,
/// when a person word reaches the threshold. The tags hold every class that is at least suspected, in its
/// own spelling.
/// @param labels those that the photo has so far.
SceneReading readScene(std::span<const SceneObservation> observations, PhotoLabelSet labels,
                       float personThreshold);

}  // namespace kelvaris
