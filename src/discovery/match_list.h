#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "analysis/photo_snapshot.h"

namespace kelvaris {

/// One photo that resembles the source: what all searches tell of it.
struct PhotoMatch {
    RollID rollID;
    std::string rollName;
    PhotoID photoID;
    std::string filename;
    Path sourceURL;
    float similarity = 0.0F;
    RotationAngle rotation = RotationAngle::none;

    bool operator==(const PhotoMatch&) const = default;
};

/// @param roll a value copy of a roll, with id and name.
template <class Roll>
PhotoMatch matchOf(const Roll& roll, const PhotoSnapshot& photo, float similarity) {
    return {roll.id, roll.name, photo.id, photo.filename, photo.sourceURL, similarity, photo.rotation};
}

/// Matches in the order of their similarity, highest first; equal ones stay in the order of finding.
template <class Match>
void sortBySimilarity(std::vector<Match>& matches) {
    std::stable_sort(matches.begin(), matches.end(),
                     [](const Match& a, const Match& b) { return a.similarity > b.similarity; });
}

/// Of sorted matches all from the strong threshold on, then the first of the others up to the limit, or
/// all of them.
template <class Match>
std::vector<Match> visibleOf(std::span<const Match> matches, float strongThreshold, std::size_t possibleLimit,
                             bool showAllPossible) {
    std::vector<Match> visible;
    std::vector<Match> possible;
    for (const Match& match : matches) {
        if (match.similarity >= strongThreshold) {
            visible.push_back(match);
        } else if (showAllPossible || possible.size() < possibleLimit) {
            possible.push_back(match);
        }
    }
    visible.insert(visible.end(), possible.begin(), possible.end());
    return visible;
}

}  // namespace kelvaris
