#include "discovery/search_vocabulary.h"

namespace kelvaris {
namespace {

const LabelSearchTerms labelRows[] = {
    {PhotoLabel::person,
     {"person", "people", "human", "kid", "child", "man", "woman", "boy", "girl", "baby", "toddler"}},
    {PhotoLabel::face, {"face", "portrait", "selfie", "headshot"}},
    {PhotoLabel::landscape,
     {"landscape", "scenery",    "nature", "outdoors", "vista",  "mountains", "countryside",
      "field",     "valley",     "hill",   "desert",   "park",   "meadow",    "canyon",
      "horizon",   "wilderness", "forest", "sky",      "sunset", "sunrise"}},
    {PhotoLabel::street,
     {"street", "road", "urban", "city", "sidewalk", "traffic", "market", "downtown", "alley", "intersection",
      "neighborhood", "town"}},
    {PhotoLabel::architecture,
     {"architecture", "building",   "structure", "house",      "church", "tower",   "castle",
      "cathedral",    "skyscraper", "monument",  "temple",     "barn",   "stadium", "factory",
      "ruin",         "dome",       "gate",      "lighthouse", "palace", "mosque",  "bridge"}},
    {PhotoLabel::animal,
     {"animal", "pet", "dog", "cat", "bird", "wildlife", "fish", "insect", "reptile", "butterfly", "deer",
      "cow", "sheep", "rabbit", "horse", "bear", "elephant"}},
    {PhotoLabel::flora,
     {"flora", "flower", "plant", "garden", "botanical", "tree", "leaf", "moss", "vine", "fern", "cactus",
      "palm", "mushroom", "grass", "bouquet"}},
    {PhotoLabel::food,
     {"food", "meal", "dish", "cuisine", "restaurant", "bakery", "cafe", "coffee", "wine", "beer", "pizza",
      "cooking", "dining", "grocery", "cake", "fruit"}},
    {PhotoLabel::night, {"night", "evening", "nocturnal", "firework", "starry", "neon"}},
    {PhotoLabel::action,
     {"action", "sport", "motion", "running", "jumping", "playing", "exercise", "gym", "race", "climbing",
      "hiking", "skiing", "yoga", "fishing", "camping", "golf", "swimming", "cycling", "dancing"}},
    {PhotoLabel::text,
     {"text", "sign", "writing", "document", "graffiti", "lettering", "book", "newspaper", "magazine",
      "poster", "billboard", "banner", "menu"}},
    {PhotoLabel::vehicle,
     {"vehicle", "car", "truck", "boat", "train", "airplane", "motorcycle", "bicycle", "bus", "ship",
      "helicopter", "scooter", "taxi", "ferry", "kayak", "sailboat", "van"}},
    {PhotoLabel::water,
     {"water", "ocean", "sea", "lake", "river", "beach", "waterfall", "pool", "waves", "stream", "canal",
      "shore", "coast", "tide", "pond", "creek", "harbor", "marina"}},
    {PhotoLabel::blur, {"blur", "blurry", "unfocused", "soft"}},
    {PhotoLabel::dark, {"dark", "underexposed"}},
    {PhotoLabel::blowout, {"blowout", "overexposed", "bright"}},
    {PhotoLabel::artifact,
     {"artifact", "defect", "scratch", "light leak", "crease", "newton", "film defect"}},
    {PhotoLabel::blank, {"blank", "empty", "leader"}},
    {PhotoLabel::gem, {"gem", "best", "favorite", "star"}},
};

const RegionCountries regionRows[] = {
    {"asia", {"Japan",       "China",     "India",      "Thailand", "Vietnam",  "South Korea", "Indonesia",
              "Philippines", "Malaysia",  "Singapore",  "Taiwan",   "Myanmar",  "Cambodia",    "Laos",
              "Nepal",       "Sri Lanka", "Bangladesh", "Pakistan", "Mongolia", "Uzbekistan",  "Kazakhstan"}},
    {"europe", {"France",      "Germany", "Italy",       "Spain",   "Portugal",       "United Kingdom",
                "Netherlands", "Belgium", "Switzerland", "Austria", "Sweden",         "Norway",
                "Denmark",     "Finland", "Ireland",     "Poland",  "Czech Republic", "Greece",
                "Croatia",     "Hungary", "Romania",     "Turkey"}},
    {"africa",
     {"Morocco", "Egypt", "South Africa", "Kenya", "Tanzania", "Ethiopia", "Nigeria", "Ghana", "Senegal",
      "Tunisia", "Uganda", "Rwanda", "Mozambique", "Namibia", "Madagascar"}},
    {"south america",
     {"Brazil", "Argentina", "Colombia", "Peru", "Chile", "Ecuador", "Bolivia", "Uruguay", "Paraguay",
      "Venezuela"}},
    {"north america",
     {"United States", "Canada", "Mexico", "Cuba", "Jamaica", "Costa Rica", "Panama", "Guatemala",
      "Honduras"}},
    {"central america",
     {"Costa Rica", "Panama", "Guatemala", "Honduras", "El Salvador", "Nicaragua", "Belize"}},
    {"oceania", {"Australia", "New Zealand", "Fiji", "Papua New Guinea"}},
    {"middle east",
     {"Israel", "Jordan", "Lebanon", "United Arab Emirates", "Saudi Arabia", "Oman", "Qatar", "Bahrain",
      "Kuwait", "Iran", "Iraq"}},
    {"southeast asia",
     {"Thailand", "Vietnam", "Indonesia", "Philippines", "Malaysia", "Singapore", "Myanmar", "Cambodia",
      "Laos"}},
    {"east asia", {"Japan", "China", "South Korea", "Taiwan", "Mongolia"}},
    {"scandinavia", {"Sweden", "Norway", "Denmark", "Finland", "Iceland"}},
};

}  // namespace

std::span<const LabelSearchTerms> labelSearchTerms() { return labelRows; }

std::span<const RegionCountries> regionCountries() { return regionRows; }

}  // namespace kelvaris
