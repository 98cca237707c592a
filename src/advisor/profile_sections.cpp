#include "advisor/profile_sections.h"

#include <fmt/format.h>

#include <array>
#include <cmath>

#include "advisor/recommendation_engine.h"

namespace kelvaris {

namespace {

constexpr std::array subjectPlurals{
    std::pair<std::string_view, std::string_view>{"portrait", "people"},
    std::pair<std::string_view, std::string_view>{"landscape", "landscapes"},
    std::pair<std::string_view, std::string_view>{"street", "street scenes"},
    std::pair<std::string_view, std::string_view>{"architecture", "architecture"},
    std::pair<std::string_view, std::string_view>{"animal", "animals"},
    std::pair<std::string_view, std::string_view>{"flora", "flowers and plants"},
    std::pair<std::string_view, std::string_view>{"food", "food"},
    std::pair<std::string_view, std::string_view>{"night", "the night"},
    std::pair<std::string_view, std::string_view>{"action", "movement"},
};

std::string_view plural(std::string_view subject) {
    for (const auto& [name, words] : subjectPlurals) {
        if (name == subject) return words;
    }
    return subject;
}

std::string listed(const std::vector<std::string_view>& words) {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (i > 0) text += i + 1 == words.size() ? " and " : ", ";
        text += words[i];
    }
    return text;
}

std::string counted(int number, std::string_view one, std::string_view many) {
    return fmt::format("{} {}", number, number == 1 ? one : many);
}

std::string eye(const ShootingProfile& profile) {
    const std::string_view dominant = profile.dominantSubject();
    std::string text =
        dominant == "versatile"
            ? std::string("You point your camera at a bit of everything, and no subject rules.")
            : fmt::format("You come back to {} more than to anything else: {}% of your frames.",
                          plural(dominant), wholePercent(profile.subjectFraction(dominant)));
    std::vector<std::string_view> others;
    for (const auto& [subject, fraction] : profile.secondarySubjects()) {
        if (others.size() < 2) others.push_back(plural(subject));
    }
    if (!others.empty()) text += fmt::format(" There is room for {} too.", listed(others));
    return text + fmt::format(" So far that makes {} and {}.", counted(profile.totalRolls, "roll", "rolls"),
                              counted(profile.totalPhotos, "frame", "frames"));
}

std::string style(const ShootingProfile& profile) {
    std::string text;
    if (const auto traits = profile.styleTraits(); !traits.empty()) {
        text = fmt::format("What returns in your frames: {}.", listed(traits));
    }
    std::string_view habit;
    switch (exposureHabit(profile)) {
        case ExposureHabit::none:
            break;
        case ExposureHabit::underexposes:
            habit = "You tend to expose on the dark side.";
            break;
        case ExposureHabit::overexposes:
            habit = "You tend to let the highlights go.";
            break;
    }
    if (!habit.empty()) text += (text.empty() ? "" : " ") + std::string(habit);
    return text;
}

/// The first untried road there is.
struct Nudge {
    bool (*applies)(const ShootingProfile& profile);
    std::string_view text;
};

constexpr std::array nudges{
    Nudge{[](const ShootingProfile& profile) { return areAll(profile.usedFilmTypes, "BW"); },
          "All of your film has been black and white. A roll of color might surprise you."},
    Nudge{[](const ShootingProfile& profile) {
              return !profile.usedFilmTypes.empty() && !profile.usedFilmTypes.contains("BW");
          },
          "You have not loaded black and white yet. One roll is enough to see light differently."},
    Nudge{[](const ShootingProfile& profile) { return areAll(profile.usedFormats, "35mm"); },
          "Everything so far was 35mm. A bigger negative would slow you down, in a good way."},
    Nudge{[](const ShootingProfile& profile) {
              return !profile.usedFilmTypes.empty() && !profile.usedFilmTypes.contains("CR");
          },
          "You have never held one of your own slides against the light. It is worth a try."},
    Nudge{[](const ShootingProfile&) { return true; },
          "You have been around. Pick a subject that you always walk past, and give it one whole roll."},
};

}  // namespace

int wholePercent(double fraction) { return static_cast<int>(std::lround(fraction * 100)); }

ExposureHabit exposureHabit(const ShootingProfile& profile) {
    if (profile.blowoutPercent <= 0.1 && profile.darkPercent <= 0.1) return ExposureHabit::none;
    return profile.blowoutPercent < profile.darkPercent ? ExposureHabit::underexposes
                                                        : ExposureHabit::overexposes;
}

std::vector<CodableProfileSection> generateProfileSections(const ShootingProfile& profile) {
    std::vector<CodableProfileSection> sections;
    if (profile.analyzedPhotos == 0) return sections;
    const auto add = [&sections](const ProfileSectionTitle& section, std::string body) {
        if (!body.empty()) {
            sections.push_back({std::string(section.title), std::string(section.icon), std::move(body)});
        }
    };
    add(yourEye, eye(profile));
    add(yourStyle, style(profile));
    for (const Nudge& nudge : nudges) {
        if (!nudge.applies(profile)) continue;
        add(roomToGrow, std::string(nudge.text));
        break;
    }
    return sections;
}

}  // namespace kelvaris
