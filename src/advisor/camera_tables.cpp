#include <array>

#include "advisor/recommendation_engine.h"

namespace kelvaris {

namespace {

using Profile = ShootingProfile;
using Camera = Candidate<CameraRecommendationEntry>;
using Rule = RecommendationRule<CameraRecommendationEntry>;
using enum RecommendationSignal::Kind;

constexpr std::array<std::string_view, 5> mediumFormats{"120", "645", "6x6", "6x7", "6x9"};
constexpr std::array<std::string_view, 3> portraitFormats{"6x6", "6x7", "645"};

template <std::size_t n>
bool isOneOf(const std::array<std::string_view, n>& values, std::string_view value) {
    return std::ranges::find(values, value) != values.end();
}

bool shootsPeople(const Profile& profile) {
    return profile.personPercent > 0.3 || profile.facePercent > 0.25;
}
bool knowsOnly35mm(const Profile& profile) { return areAll(profile.usedFormats, "35mm"); }

constexpr std::array rules{
    Rule{[](const Profile& p, const Camera& c) {
             return knowsOnly35mm(p) && isOneOf(mediumFormats, c.entry.format);
         },
         3,
         formatExpansion,
         {},
         &CameraRecommendationEntry::format,
         "35mm"},
    Rule{[](const Profile& p, const Camera& c) {
             return areAll(p.usedCameraTypes, "SLR") && c.entry.type == "Rangefinder";
         },
         3, typeExpansion, "Rangefinder", nullptr, "SLR"},
    Rule{[](const Profile& p, const Camera& c) {
             return areAll(p.usedCameraTypes, "SLR") && c.entry.type == "TLR";
         },
         2, typeExpansion, "TLR", nullptr, "SLR"},
    Rule{[](const Profile& p, const Camera& c) {
             return areAll(p.usedCameraTypes, "Point & Shoot") && c.entry.type == "SLR";
         },
         3, typeExpansion, "SLR", nullptr, "Point & Shoot"},
    Rule{[](const Profile& p, const Camera& c) {
             return areAll(p.usedCameraTypes, "Rangefinder") && c.entry.type == "SLR";
         },
         2, typeExpansion, "SLR", nullptr, "Rangefinder"},
    Rule{
        [](const Profile& p, const Camera& c) { return shootsPeople(p) && has(c.entry.goodFor, "portrait"); },
        3, subjectMatch, "portrait"},
    Rule{[](const Profile& p, const Camera& c) {
             return p.landscapePercent > 0.25 && has(c.entry.goodFor, "landscape");
         },
         3, subjectMatch, "landscape"},
    Rule{[](const Profile& p, const Camera& c) {
             return p.streetPercent > 0.2 && has(c.entry.goodFor, "street");
         },
         2, subjectMatch, "street"},
    Rule{[](const Profile& p, const Camera& c) {
             return p.streetPercent > 0.2 && c.entry.weightClass == "compact";
         },
         2, compactForStreet},
    Rule{[](const Profile& p, const Camera& c) {
             return p.nightPercent > 0.15 && has(c.entry.goodFor, "low-light");
         },
         3, lowLight},
    Rule{[](const Profile& p, const Camera& c) {
             return p.nightPercent > 0.15 && has(c.entry.features, "fast-lens");
         },
         2, fastLens},
    Rule{[](const Profile& p, const Camera& c) {
             return p.actionPercent > 0.15 && has(c.entry.goodFor, "action");
         },
         2, subjectMatch, "action"},
    Rule{[](const Profile& p, const Camera& c) {
             return p.bokehPercent > 0.15 && has(c.entry.features, "fast-lens");
         },
         2, bokehLover},
    Rule{[](const Profile& p, const Camera& c) {
             return p.indoorPercent > 0.3 && has(c.entry.features, "built-in-flash");
         },
         1, indoorShooter},
    Rule{
        [](const Profile& p, const Camera& c) { return p.totalPhotos > 500 && c.entry.type == "Half Frame"; },
        4, highVolume},
    Rule{[](const Profile& p, const Camera& c) {
             return p.totalRolls > 20 && (c.entry.type == "Toy" || c.entry.type == "Panoramic");
         },
         2, experimental},
    Rule{[](const Profile& p, const Camera& c) {
             return p.landscapePercent > 0.25 && p.totalRolls > 15 && c.entry.type == "Large Format";
         },
         2, largeFormatUpgrade},
    Rule{[](const Profile& p, const Camera& c) { return !p.usedCameraMakes.contains(c.makerKey); },
         1,
         newBrand,
         {},
         &CameraRecommendationEntry::make},
    Rule{[](const Profile& p, const Camera& c) {
             return p.landscapePercent > 0.1 && c.entry.weightClass == "compact" &&
                    has(c.entry.goodFor, "travel");
         },
         1, std::nullopt},
    Rule{[](const Profile& p, const Camera& c) {
             return p.animalPercent > 0.15 && c.entry.type == "SLR" &&
                    has(c.entry.features, "interchangeable-lens");
         },
         2, subjectMatch, "animal"},
    Rule{[](const Profile& p, const Camera& c) {
             return p.peoplePhotoPercent > 0.3 && has(c.entry.features, "waist-level-finder");
         },
         2, waistLevelForPeople},
    Rule{[](const Profile& p, const Camera& c) {
             return p.architecturePercent > 0.15 && has(c.entry.features, "movements");
         },
         3, subjectMatch, "architecture"},
    Rule{[](const Profile& p, const Camera& c) {
             return (p.blowoutPercent > 0.1 || p.darkPercent > 0.1) && has(c.entry.goodFor, "beginner");
         },
         1, exposureHelp},
    Rule{[](const Profile& p, const Camera& c) {
             return shootsPeople(p) && knowsOnly35mm(p) && isOneOf(portraitFormats, c.entry.format);
         },
         2, portraitMediumFormat},
    Rule{[](const Profile& p, const Camera& c) {
             return p.avgNimaScore && *p.avgNimaScore > 0.6 && c.entry.priceTier == "premium";
         },
         1, strongAesthetic},
};

constexpr auto lovesBokeh = [](const Profile& profile) { return profile.bokehPercent > 0.15; };
constexpr auto chasesGoldenHour = [](const Profile& profile) { return profile.goldenHourPercent > 0.1; };

constexpr std::array openers{
    SignalSentence{
        typeExpansion,
        "After shooting {from}s, a rangefinder is going to feel like a breath of fresh air — quieter, "
        "more compact, and it forces you to really see your frame.",
        "Rangefinder"},
    SignalSentence{
        typeExpansion,
        "A TLR changes everything about how you compose — looking down into a waist-level finder slows "
        "you down in the best way.",
        "TLR"},
    SignalSentence{
        typeExpansion,
        "Ready to take the training wheels off? An SLR gives you full manual control and a world of "
        "interchangeable lenses.",
        "SLR", "Point & Shoot"},
    SignalSentence{typeExpansion,
                   "Switching from a {from} to a {to} will totally change how you shoot — in a good way."},
    SignalSentence{formatExpansion,
                   "You've been shooting 35mm exclusively — a {to} camera is a whole different world.",
                   {},
                   {},
                   nullptr,
                   "Stepping up to {to} from 35mm gives you negatives with incredible detail."},
    SignalSentence{
        subjectMatch,
        "You clearly love that shallow depth of field look in your portraits — the {name} delivers it "
        "beautifully.",
        "portrait",
        {},
        lovesBokeh},
    SignalSentence{subjectMatch, "With how many portraits you shoot, the {name} is a natural fit.",
                   "portrait"},
    SignalSentence{subjectMatch,
                   "You chase that golden hour light — the {name} will do it justice.",
                   "landscape",
                   {},
                   chasesGoldenHour},
    SignalSentence{subjectMatch, "Built for the kind of landscape work you're drawn to.", "landscape"},
    SignalSentence{subjectMatch, "For the street shooting you're into, the {name} is hard to beat.",
                   "street"},
    SignalSentence{subjectMatch,
                   "For architecture, perspective control changes everything — no more converging verticals.",
                   "architecture"},
    SignalSentence{subjectMatch, "You're shooting a lot of action, and the {name} can keep up.", "action"},
    SignalSentence{
        subjectMatch,
        "For wildlife, interchangeable lenses mean you can reach out without spooking your subjects.",
        "animal"},
    SignalSentence{subjectMatch, "The {name} fits right into what you like to shoot."},
    SignalSentence{newBrand, "{to} has a really distinct feel — worth experiencing at least once."},
    SignalSentence{compactForStreet,
                   "Small enough to always have on you — that's half the battle with street photography."},
    SignalSentence{lowLight, "You shoot a lot in low light, and this camera handles it like a champ."},
    SignalSentence{bokehLover, "The fast lens on the {name} is perfect for that creamy bokeh you're after."},
    SignalSentence{highVolume,
                   "You burn through film — a half-frame doubles your shots per roll, which your wallet will "
                   "appreciate."},
    SignalSentence{experimental,
                   "With {rolls} rolls under your belt, you've earned the right to get weird with it."},
    SignalSentence{largeFormatUpgrade,
                   "Large format is the ultimate for landscape — each frame is a meditation."},
    SignalSentence{waistLevelForPeople,
                   "Shooting from the waist creates a completely different dynamic with your subjects — more "
                   "eye-level, less confrontational."},
    SignalSentence{
        portraitMediumFormat,
        "Medium format portraits have that dreamy separation between subject and background that 35mm "
        "just can't match."},
    SignalSentence{exposureHelp,
                   "This one's forgiving with exposure — it'll help you nail it while you're building your "
                   "instincts."},
};

constexpr std::array secondaryLines{
    SignalSentence{formatExpansion, "The jump to medium format negatives is dramatic."},
    SignalSentence{newBrand, "{to} has a really distinct feel — worth experiencing."},
    SignalSentence{compactForStreet, "Small enough to always have on you."},
    SignalSentence{lowLight, "Fast glass means you can keep shooting when the light drops."},
    SignalSentence{fastLens, "Fast glass means you can keep shooting when the light drops."},
    SignalSentence{bokehLover, "The fast lens is perfect for that creamy bokeh you're after."},
    SignalSentence{indoorShooter, "The built-in flash makes indoor shooting way easier."},
    SignalSentence{largeFormatUpgrade, "Each frame is a meditation."},
    SignalSentence{waistLevelForPeople, "Waist-level shooting creates a different dynamic with subjects."},
    SignalSentence{portraitMediumFormat, "Medium format gives you that dreamy subject separation."},
    SignalSentence{strongAesthetic, "Your eye for composition is solid — this won't hold you back."},
    SignalSentence{exposureHelp, "Forgiving enough to help you dial in exposure."},
};

constexpr GearTables<CameraRecommendationEntry> tables{
    .rules = rules,
    .openers = openers,
    .secondaryLines = secondaryLines,
    .isUsed = [](const Profile& p, const Camera& c) { return p.usedCameraModels.contains(c.fullNameKey); },
    .dimensions = {&CameraRecommendationEntry::type, &CameraRecommendationEntry::format},
    .name = &CameraRecommendationEntry::model,
    .iso = [](const CameraRecommendationEntry&) { return 0; },
};

}  // namespace

const GearTables<CameraRecommendationEntry>& cameraTables() { return tables; }

}  // namespace kelvaris
