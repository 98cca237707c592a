#include "analysis/analysis_run.h"
#include "analysis/gems.h"
#include "preferences/user_preferences.h"

namespace kelvaris {
namespace {

constexpr double nimaShare = 0.6;
constexpr Spring gemSpring{.response = 0.3, .dampingFraction = 0.9, .blendDuration = 0};

double gemScore(const PhotoItem& photo) {
    if (!photo.nimaScore()) return photo.qualityScore();
    return nimaShare * *photo.nimaScore() + (1 - nimaShare) * photo.qualityScore();
}

bool isUsable(const PhotoItem& photo) {
    return photo.labelsAnalyzed() && photo.loadState() != PhotoItem::LoadState::failed;
}

/// The user's word on the gem goes before the choice.
void markGem(PhotoItem& photo, bool isChosen) {
    const auto& overrides = photo.manualLabelOverrides();
    const auto own = overrides.find(std::string(rawValue(PhotoLabel::gem)));
    PhotoLabelSet labels = photo.labels();
    labels.erase(PhotoLabel::gem);
    if (own == overrides.end() ? isChosen : own->second) labels.insert(PhotoLabel::gem);
    photo.setLabels(labels);
}

bool mayShowPeople(const PhotoItem& photo) {
    if (photo.isMissing() || photo.loadState() == PhotoItem::LoadState::failed) return false;
    const PhotoLabelSet& labels = photo.labels();
    return labels.contains(PhotoLabel::person) || labels.contains(PhotoLabel::face) ||
           !labels.contains(PhotoLabel::blank);
}

/// A photo that was only turned keeps its people.
void applyPeopleCount(const PhotoSnapshot& snapshot, int count) {
    const PhotoPointer photo = snapshot.photo.lock();
    if (!photo || photo->analysisGeneration() != snapshot.generation ||
        photo->sourceURL() != snapshot.sourceURL) {
        return;
    }
    photo->setPeopleCount(count);
    if (count > 0) photo->applySuggestedLabels({PhotoLabel::person});
}

}  // namespace

void AnalysisOrchestrator::finishAnalysis(const RunPointer& run) {
    if (!passes_) {
        selectGemsAndFinish(run);
        return;
    }
    std::vector<PhotoSnapshot> snapshots;
    for (const PhotoPointer& photo : run->photos) {
        if (!photo->isMissing()) snapshots.push_back(PhotoSnapshot::of(photo));
    }
    RollPasses::Request request{
        .switches = AnalysisSwitches::of(tools_.preferences),
        .isCancelled = [run, closing = closing_] { return closing->isCancelled() || run->isCalledOff; },
        .onPeopleCounted =
            [run](const PhotoSnapshot& snapshot, int people) {
                run->peopleCounts[snapshot.id] = {snapshot.sourceURL, people};
            },
        .onPhotoFinished =
            [run] {
                run->photoFinished();
                run->isCalledOff = run->isSuperseded();
            }};
    utilityQueue_->add(
        [this, run, snapshots = std::move(snapshots), request = std::move(request)] {
            passes_->run(snapshots, request);
            post([this, run] { selectGemsAndFinish(run); });
        },
        run->priority);
}

void AnalysisOrchestrator::selectGemsAndFinish(const RunPointer& run) {
    if (run->isSuperseded()) {
        complete(run);
        return;
    }
    refreshGems(run->roll);
    if (tools_.preferences.faceFinderEnabled()) {
        recountPeople(run);
    } else {
        complete(run);
    }
}

void AnalysisOrchestrator::refreshGems(const PhotoList& photos) {
    if (!tools_.preferences.gemSpotterEnabled()) return;
    const PhotoList gems = chooseGems(photos);
    const auto mark = [&] {
        for (const PhotoPointer& photo : photos) {
            // One that is missing competes as it last stood, and keeps its mark.
            if (photo->isMissing()) continue;
            markGem(*photo, std::ranges::find(gems, photo) != gems.end());
        }
    };
    if (tools_.shell.reducesMotion()) {
        mark();
    } else {
        tools_.animator.animate(gemSpring, mark);
    }
}

PhotoList AnalysisOrchestrator::chooseGems(const PhotoList& photos) const {
    std::vector<ScoredPhoto> scored;
    for (const PhotoPointer& photo : photos) {
        if (isUsable(*photo)) scored.push_back({photo, gemScore(*photo)});
    }
    return selectGems(scored, gemLimit);
}

void AnalysisOrchestrator::recountPeople(const RunPointer& run) {
    std::vector<PhotoSnapshot> snapshots;
    for (const PhotoPointer& photo : run->photos) {
        if (!mayShowPeople(*photo)) continue;
        const PhotoSnapshot snapshot = PhotoSnapshot::of(photo);
        const auto counted = run->peopleCounts.find(photo->id());
        if (counted != run->peopleCounts.end() && counted->second.sourceURL == snapshot.sourceURL) {
            applyPeopleCount(snapshot, counted->second.people);
        } else {
            snapshots.push_back(snapshot);
        }
    }
    if (snapshots.empty()) {
        complete(run);
        return;
    }
    const auto remaining = std::make_shared<std::size_t>(snapshots.size());
    for (PhotoSnapshot& snapshot : snapshots) {
        utilityQueue_->add(
            [this, run, remaining, snapshot = std::move(snapshot)] {
                const int count = tools_.analysis.countPeople(snapshot.sourceURL, snapshot.rotation);
                post([this, run, remaining, snapshot, count] {
                    applyPeopleCount(snapshot, count);
                    run->photoFinished();
                    if (--*remaining == 0) complete(run);
                });
            },
            run->priority);
    }
}

void AnalysisOrchestrator::complete(const RunPointer& run) { run->callbacks.ending.tell(run->end()); }

}  // namespace kelvaris
