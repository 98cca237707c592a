#include "advisor/shooting_profile.h"

#include <algorithm>
#include <array>

namespace kelvaris {

namespace {

struct Subject {
    std::string_view name;
    double (*fraction)(const ShootingProfile&);
};

constexpr std::array subjects{
    Subject{
        "portrait",
        [](const ShootingProfile& profile) { return std::max(profile.facePercent, profile.personPercent); }},
    Subject{"landscape", [](const ShootingProfile& profile) { return profile.landscapePercent; }},
    Subject{"street", [](const ShootingProfile& profile) { return profile.streetPercent; }},
    Subject{"architecture", [](const ShootingProfile& profile) { return profile.architecturePercent; }},
    Subject{"animal", [](const ShootingProfile& profile) { return profile.animalPercent; }},
    Subject{"flora", [](const ShootingProfile& profile) { return profile.floraPercent; }},
    Subject{"food", [](const ShootingProfile& profile) { return profile.foodPercent; }},
    Subject{"night", [](const ShootingProfile& profile) { return profile.nightPercent; }},
    Subject{"action", [](const ShootingProfile& profile) { return profile.actionPercent; }},
};
constexpr double dominantAbove = 0.15;
constexpr double secondaryAbove = 0.1;

struct Trait {
    std::string_view name;
    double ShootingProfile::*fraction;
    double above;
};

constexpr std::array traits{
    Trait{"golden hour", &ShootingProfile::goldenHourPercent, 0.1},
    Trait{"shallow depth of field", &ShootingProfile::bokehPercent, 0.15},
    Trait{"long exposure", &ShootingProfile::longExposurePercent, 0.1},
    Trait{"motion blur", &ShootingProfile::motionBlurPercent, 0.1},
    Trait{"backlighting", &ShootingProfile::backlitPercent, 0.1},
    Trait{"soft focus", &ShootingProfile::softFocusPercent, 0.1},
    Trait{"light leaks", &ShootingProfile::lightLeakPercent, 0.1},
    Trait{"warm tones", &ShootingProfile::warmColorRatio, 0.4},
    Trait{"cool tones", &ShootingProfile::coolColorRatio, 0.4},
};

}  // namespace

std::string_view ShootingProfile::dominantSubject() const {
    const auto largest = std::ranges::max_element(
        subjects, {}, [this](const Subject& subject) { return subject.fraction(*this); });
    return largest->fraction(*this) > dominantAbove ? largest->name : "versatile";
}

std::vector<std::pair<std::string_view, double>> ShootingProfile::secondarySubjects() const {
    const std::string_view dominant = dominantSubject();
    std::vector<std::pair<std::string_view, double>> others;
    for (const Subject& subject : subjects) {
        const double fraction = subject.fraction(*this);
        if (subject.name != dominant && fraction > secondaryAbove)
            others.emplace_back(subject.name, fraction);
    }
    std::ranges::stable_sort(others, std::greater<>(), &std::pair<std::string_view, double>::second);
    return others;
}

double ShootingProfile::subjectFraction(std::string_view name) const {
    const auto found = std::ranges::find(subjects, name, &Subject::name);
    return found == subjects.end() ? 0 : found->fraction(*this);
}

std::vector<std::string_view> ShootingProfile::styleTraits() const {
    std::vector<std::string_view> found;
    for (const Trait& trait : traits) {
        if (this->*trait.fraction > trait.above) found.push_back(trait.name);
    }
    return found;
}

}  // namespace kelvaris
