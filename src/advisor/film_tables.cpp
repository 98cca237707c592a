#include <array>

#include "advisor/recommendation_engine.h"

namespace kelvaris {

namespace {

using Profile = ShootingProfile;
using Film = Candidate<FilmRecommendationEntry>;
using Rule = RecommendationRule<FilmRecommendationEntry>;
using enum RecommendationSignal::Kind;

bool shootsPeople(const Profile& profile) {
    return profile.personPercent > 0.3 || profile.facePercent > 0.25;
}
bool misexposes(const Profile& profile) { return profile.blowoutPercent > 0.1 || profile.darkPercent > 0.1; }
bool shootsNights(const Profile& profile) { return profile.nightPercent > 0.15; }
bool knowsOnlyColor(const Profile& profile) {
    return !profile.usedFilmTypes.empty() && !profile.usedFilmTypes.contains("BW");
}
bool isPraised(const Profile& profile) { return profile.avgNimaScore && *profile.avgNimaScore > 0.6; }

constexpr std::array rules{
    Rule{
        [](const Profile& p, const Film& f) { return areAll(p.usedFilmTypes, "BW") && f.entry.type == "CN"; },
        2, colorExpansion},
    Rule{[](const Profile& p, const Film& f) { return knowsOnlyColor(p) && f.entry.type == "BW"; }, 2,
         bwExpansion},
    Rule{[](const Profile& p, const Film& f) {
             return !p.usedFilmTypes.contains("CR") && f.entry.type == "CR";
         },
         2, slideDiscovery},
    Rule{[](const Profile& p, const Film& f) { return misexposes(p) && f.entry.latitude == "forgiving"; }, 3,
         forgivingLatitude},
    Rule{[](const Profile& p, const Film& f) { return shootsNights(p) && f.entry.iso >= 800; }, 3,
         highSpeedForNight},
    Rule{[](const Profile& p, const Film& f) { return shootsNights(p) && has(f.entry.goodFor, "night"); }, 3,
         nightFilm},
    Rule{[](const Profile& p, const Film& f) { return shootsPeople(p) && has(f.entry.goodFor, "portrait"); },
         3, subjectMatch, "portrait"},
    Rule{[](const Profile& p, const Film& f) {
             return p.landscapePercent > 0.25 && has(f.entry.goodFor, "landscape");
         },
         3, subjectMatch, "landscape"},
    Rule{[](const Profile& p, const Film& f) {
             return p.landscapePercent > 0.25 && f.entry.palette == "vivid" && f.entry.grain == "fine";
         },
         2, vividLandscape},
    Rule{[](const Profile& p, const Film& f) {
             return p.streetPercent > 0.2 && has(f.entry.goodFor, "street");
         },
         2, subjectMatch, "street"},
    Rule{[](const Profile& p, const Film& f) {
             return p.architecturePercent > 0.15 && f.entry.grain == "fine";
         },
         2, fineGrainArchitecture},
    Rule{[](const Profile& p, const Film& f) {
             return (p.floraPercent > 0.1 || p.foodPercent > 0.1) && f.entry.palette == "warm";
         },
         1, warmForSubject},
    Rule{[](const Profile& p, const Film& f) { return p.warmColorRatio > 0.4 && f.entry.palette == "warm"; },
         2, paletteMatch, "warm"},
    Rule{[](const Profile& p, const Film& f) { return p.coolColorRatio > 0.4 && f.entry.palette == "cool"; },
         2, paletteMatch, "cool"},
    Rule{[](const Profile& p, const Film& f) {
             return p.goldenHourPercent > 0.1 && f.entry.palette == "warm";
         },
         2, goldenHourFilm},
    Rule{[](const Profile& p, const Film& f) { return isPraised(p) && f.entry.priceTier == "premium"; }, 2,
         strongAesthetic},
    Rule{[](const Profile& p, const Film& f) {
             return !isPraised(p) && p.gemPercent > 0.1 && f.entry.priceTier == "premium";
         },
         1, strongAesthetic},
    Rule{[](const Profile& p, const Film& f) { return p.totalPhotos > 500 && f.entry.priceTier == "budget"; },
         2, budgetForVolume},
    Rule{[](const Profile& p, const Film& f) {
             return (p.usedISOs.empty() ? 0 : *p.usedISOs.rbegin()) <= 400 && f.entry.iso >= 800;
         },
         1, isoExpansionHigh},
    Rule{[](const Profile& p, const Film& f) {
             return (p.usedISOs.empty() ? 400 : *p.usedISOs.begin()) >= 400 && f.entry.iso <= 100;
         },
         1, isoExpansionLow},
    Rule{[](const Profile& p, const Film& f) {
             return p.totalRolls > 20 && has(f.entry.goodFor, "experimental");
         },
         1, experimental},
    Rule{[](const Profile& p, const Film& f) { return !p.usedFilmBrands.contains(f.makerKey); },
         1,
         newBrand,
         {},
         &FilmRecommendationEntry::brand},
    Rule{[](const Profile& p, const Film& f) {
             return knowsOnlyColor(p) && f.entry.type == "BW" && has(f.entry.goodFor, "beginner");
         },
         1, easyBW},
    Rule{[](const Profile& p, const Film& f) {
             return p.actionPercent > 0.15 && has(f.entry.goodFor, "pushable");
         },
         2, pushableForAction},
    Rule{[](const Profile& p, const Film& f) {
             return shootsNights(p) && p.totalRolls > 10 && has(f.entry.goodFor, "cinematic");
         },
         2, cinematicNight},
    Rule{[](const Profile& p, const Film& f) {
             return p.indoorPercent > 0.3 && has(f.entry.goodFor, "indoor");
         },
         1, indoorShooter},
};

constexpr auto leansWarm = [](const Profile& profile) { return profile.warmColorRatio > 0.4; };
constexpr auto chasesGoldenHour = [](const Profile& profile) { return profile.goldenHourPercent > 0.1; };

constexpr std::array openers{
    SignalSentence{
        newBrand,
        "If you haven't tried {to} before, their emulsions have a totally different character — worth "
        "exploring."},
    SignalSentence{
        paletteMatch,
        "Your photos tend to run warm — this stock leans the same way, so it'll feel like a natural "
        "extension of your eye.",
        "warm"},
    SignalSentence{paletteMatch,
                   "Your shots have a cool, muted quality — this film will complement that beautifully.",
                   "cool"},
    SignalSentence{
        subjectMatch,
        "Your shots already lean warm, and {name} amplifies that beautifully — skin tones are going to "
        "glow.",
        "portrait",
        {},
        leansWarm},
    SignalSentence{subjectMatch, "For portraits, the way {name} renders skin tones is hard to beat.",
                   "portrait"},
    SignalSentence{
        subjectMatch,
        "You're clearly chasing golden hour, and {name} eats that light up — warm tones and fine detail "
        "for days.",
        "landscape",
        {},
        chasesGoldenHour},
    SignalSentence{subjectMatch,
                   "For landscapes, {name} brings out detail and color that'll make your shots pop.",
                   "landscape"},
    SignalSentence{
        subjectMatch,
        "{name} is a classic street stock — gritty, contrasty, works perfectly for what you're shooting.",
        "street"},
    SignalSentence{subjectMatch, "{name} matches the kind of work you're doing really well."},
    SignalSentence{
        colorExpansion,
        "You've been shooting exclusively black and white — trying color will open up a completely "
        "different side of your photography."},
    SignalSentence{
        bwExpansion,
        "Going black and white strips everything down to light and shadow — it'll make you see your "
        "subjects differently."},
    SignalSentence{
        slideDiscovery,
        "You've never shot slide film? Oh, you're in for a treat — holding a transparency on a light "
        "table is magic.",
        {},
        {},
        nullptr,
        "Another slide option worth trying alongside your first — each renders color completely "
        "differently."},
    SignalSentence{
        forgivingLatitude,
        "You're still getting a feel for exposure — this film is incredibly forgiving, so you can be a "
        "couple stops off and still get great results.",
        {},
        {},
        nullptr,
        "The wide latitude means your exposure doesn't have to be perfect."},
    SignalSentence{
        highSpeedForNight,
        "For the kind of night shooting you do, you need speed — ISO {iso} gives you that without a "
        "tripod."},
    SignalSentence{
        vividLandscape,
        "Saturated colors with super fine grain — your landscapes are going to look incredible on this."},
    SignalSentence{fineGrainArchitecture,
                   "Fine grain resolves all those architectural details you're capturing beautifully."},
    SignalSentence{warmForSubject,
                   "The warm tones complement the botanical and food subjects you're drawn to."},
    SignalSentence{
        goldenHourFilm,
        "You love that golden hour light, and this warm-toned stock is going to make those shots sing."},
    SignalSentence{
        budgetForVolume,
        "You shoot a lot, and this stock punches way above its price point — great results without "
        "burning through your budget."},
    SignalSentence{isoExpansionHigh,
                   "ISO {iso} opens up indoor and low-light shooting that slower stocks just can't handle."},
    SignalSentence{
        isoExpansionLow,
        "Slowing down to ISO {iso} rewards you with finer grain and richer detail — worth it for a sunny "
        "day."},
    SignalSentence{
        easyBW,
        "Develops in the same C-41 process as your color film, so any lab can run it — easy first step "
        "into black and white."},
    SignalSentence{
        pushableForAction,
        "You can push this a stop or two for faster shutter speeds when you're chasing action — and it "
        "handles it gracefully."},
    SignalSentence{
        cinematicNight,
        "For your night work, this has a cinematic color palette that's going to give your shots serious "
        "mood."},
};

constexpr std::array secondaryLines{
    SignalSentence{slideDiscovery, "Slide film on a light table is a whole different experience."},
    SignalSentence{paletteMatch, "Leans warm like your natural palette.", "warm"},
    SignalSentence{paletteMatch, "Complements your cool-toned shooting style.", "cool"},
    SignalSentence{newBrand, "{to} emulsions have a totally different character — worth exploring."},
    SignalSentence{strongAesthetic, "Your eye is solid — this premium stock will elevate things further."},
    SignalSentence{forgivingLatitude, "Wide latitude means your exposure doesn't have to be perfect."},
    SignalSentence{fineGrainArchitecture,
                   "Fine grain resolves all those architectural details you're capturing."},
    SignalSentence{warmForSubject, "Warm tones complement the botanical and food subjects you're drawn to."},
    SignalSentence{goldenHourFilm, "Perfect for the golden hour light you love."},
    SignalSentence{isoExpansionHigh,
                   "ISO {iso} opens up low-light shooting that slower stocks can't handle."},
    SignalSentence{isoExpansionLow, "ISO {iso} rewards you with finer grain and richer detail."},
    SignalSentence{easyBW, "C-41 process means any lab can run it — easy first step into B&W."},
};

constexpr GearTables<FilmRecommendationEntry> tables{
    .rules = rules,
    .openers = openers,
    .secondaryLines = secondaryLines,
    .isUsed =
        [](const Profile& p, const Film& f) {
            return p.usedFilmNames.contains(f.fullNameKey) || p.usedFilmNames.contains(f.nameKey);
        },
    .dimensions = {&FilmRecommendationEntry::type, &FilmRecommendationEntry::brand},
    .name = &FilmRecommendationEntry::name,
    .iso = [](const FilmRecommendationEntry& entry) { return entry.iso; },
};

}  // namespace

const GearTables<FilmRecommendationEntry>& filmTables() { return tables; }

}  // namespace kelvaris
