#pragma once

#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "analysis/analysis_cancellation.h"
#include "base/main_queue.h"
#include "discovery/discovery_progress.h"
#include "discovery/match_list.h"

namespace kelvaris {

/// What a walk over rolls for matches tells. Called on the main thread.
/// `Fresh` is what had to be made of a photo before it could be compared.
template <class Match, class Fresh>
struct MatchWalkCallbacks {
    /// The matches so far, most similar first: a few times a second, and once after a cancellation.
    std::function<void(std::vector<Match>, DiscoveryProgress)> onProgressUpdate;
    /// In batches with the progress, and before it.
    std::function<void(std::vector<Fresh>)> onFresh;
    /// The final matches; not called after a cancellation.
    std::function<void(std::vector<Match>, DiscoveryProgress)> onComplete;
};

/// What one photo of a walk gave.
template <class Match, class Fresh>
struct VisitedPhoto {
    bool isReadable = true;
    std::optional<Fresh> fresh;
    std::optional<Match> match;
};

/// Visits the photos of all rolls, but for the excluded one, in their order, on the caller's thread, a
/// worker, until the end or the cancellation. Photos that cannot be read count as failed, and the walk goes
/// on.
/// @param visit takes a roll and one of its photos, and gives a VisitedPhoto.
template <class Match, class Fresh, class Roll, class Visit>
void walkForMatches(const std::vector<Roll>& rolls, PhotoID excludedPhotoID,
                    const MatchWalkCallbacks<Match, Fresh>& callbacks,
                    const AnalysisCancellation& cancellation, MainQueue& main, Visit visit) {
    DiscoveryProgress progress;
    for (const Roll& roll : rolls) {
        for (const auto& photo : roll.photos) progress.total += photo.snapshot.id == excludedPhotoID ? 0 : 1;
    }
    std::vector<Match> matches;
    std::vector<Fresh> fresh;
    const auto report = [&](const auto& tell) {
        if (!fresh.empty()) {
            main.post(
                [tellFresh = callbacks.onFresh, batch = std::exchange(fresh, {})] { tellFresh(batch); });
        }
        sortBySimilarity(matches);
        main.post([tell, matches, progress] { tell(matches, progress); });
    };
    BatchPacer pacer(main.clock());
    for (const Roll& roll : rolls) {
        for (const auto& photo : roll.photos) {
            if (photo.snapshot.id == excludedPhotoID) continue;
            if (cancellation.isCancelled()) {
                report(callbacks.onProgressUpdate);
                return;
            }
            VisitedPhoto<Match, Fresh> visited = visit(roll, photo);
            ++progress.processed;
            if (!visited.isReadable) ++progress.failed;
            if (visited.fresh) fresh.push_back(std::move(*visited.fresh));
            if (visited.match) matches.push_back(std::move(*visited.match));
            if (pacer.isDue()) report(callbacks.onProgressUpdate);
        }
    }
    report(callbacks.onComplete);
}

}  // namespace kelvaris
