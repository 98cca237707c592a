#include "discovery/face_groups.h"

#include <algorithm>
#include <utility>

#include "discovery/face_corrections.h"
#include "discovery/roll_walk.h"

namespace kelvaris {
namespace {

/// A photo with faces, as taken on the main thread; its vectors are shared, not copied.
struct FacePhoto {
    RollID rollID;
    std::string filename;
    Path sourceURL;
    PhotoItem::FaceRegions regions;
    RotationAngle rotation;
};

std::vector<IndexedFace> indexed(const std::vector<FacePhoto>& photos) {
    std::vector<IndexedFace> faces;
    for (const FacePhoto& photo : photos) {
        for (const FaceRegion& region : *photo.regions) {
            const NormalizedRect& box = region.boundingBox;
            faces.push_back({{photo.rollID, photo.filename, box.x, box.y, box.width, box.height},
                             photo.sourceURL,
                             region,
                             photo.rotation});
        }
    }
    return faces;
}

bool holdsFace(const SuggestedFaceGroup& group, const FaceAnchor& face) {
    return std::any_of(group.faces.begin(), group.faces.end(),
                       [&](const IndexedFace& each) { return each.anchor == face; });
}

}  // namespace

FaceGroups::FaceGroups(DiscoveryLibrary& library, UserPreferences& preferences, UndoStack* undoStack,
                       OperationQueue& queue, MainQueue& main)
    : library_(library), preferences_(preferences), undoStack_(undoStack), queue_(queue), main_(main) {}

FaceGroups::~FaceGroups() {
    if (cancellation_) cancellation_->cancel();
}

void FaceGroups::refresh() {
    groupingGeneration_ = RunStamp::random();
    if (cancellation_) cancellation_->cancel();
    cancellation_ = std::make_shared<AnalysisCancellation>();
    assign(FaceGroupsField::isGrouping, isGrouping_, true);
    const auto photos = std::make_shared<std::vector<FacePhoto>>();
    const auto isCurrent = [this, generation = groupingGeneration_, alive = lifetime_.weak()] {
        return alive.lock() && generation == groupingGeneration_;
    };
    walkRolls(
        main_, library_.rolls(),
        [photos, isCurrent](const RollPointer& roll) {
            if (!isCurrent()) return false;
            for (const PhotoPointer& photo : roll->photos()) {
                if (!photo->faceRegions() || photo->faceRegions()->empty()) continue;
                photos->push_back({roll->id(), photo->filename(), photo->sourceURL(), photo->faceRegions(),
                                   photo->rotation()});
            }
            return true;
        },
        [this, photos, isCurrent] {
            if (!isCurrent()) return;
            queue_.add([this, photos, isCurrent, edits = preferences_.faceGroupingEdits(),
                        cancellation = cancellation_, &main = main_] {
                if (cancellation->isCancelled()) return;
                auto groups = std::make_shared<const std::vector<SuggestedFaceGroup>>(
                    FaceGroupingService::groups(indexed(*photos), edits, FaceGroupingService::threshold));
                main.post([this, groups = std::move(groups), isCurrent] {
                    if (!isCurrent()) return;
                    groups_ = groups;
                    notify(FaceGroupsField::groups);
                    assign(FaceGroupsField::isGrouping, isGrouping_, false);
                });
            });
        });
}

const SuggestedFaceGroup* FaceGroups::group(std::string_view id) const {
    if (isGrouping_) return nullptr;
    const auto found = std::find_if(groups_->begin(), groups_->end(),
                                    [id](const SuggestedFaceGroup& each) { return each.id == id; });
    return found == groups_->end() ? nullptr : &*found;
}

bool FaceGroups::merge(std::string_view intoGroupID, std::string_view fromGroupID) {
    const auto* into = group(intoGroupID);
    const auto* from = group(fromGroupID);
    if (!into || !from || into == from) return false;
    return correct("Merge People", face_corrections::merged(*into, *from, preferences_.faceGroupingEdits()));
}

bool FaceGroups::move(const FaceAnchor& face, std::string_view fromGroupID, std::string_view toGroupID) {
    const auto* from = group(fromGroupID);
    const auto* to = group(toGroupID);
    if (!from || !to || from == to || !holdsFace(*from, face)) return false;
    return correct("Move Face", face_corrections::moved(face, *from, *to, preferences_.faceGroupingEdits()));
}

bool FaceGroups::takeOut(const FaceAnchor& face, std::string_view fromGroupID) {
    const auto* from = group(fromGroupID);
    if (!from || from->faces.size() < 2 || !holdsFace(*from, face)) return false;
    return correct("Take Out Face",
                   face_corrections::takenOut(face, *from, preferences_.faceGroupingEdits()));
}

bool FaceGroups::correct(std::string label, FaceGroupingEdits edits) {
    FaceGroupingEdits before = preferences_.faceGroupingEdits();
    if (edits == before) return false;
    replaceEdits(edits);
    if (!undoStack_) return true;
    // The corrections outlive the screen that made them, and so does taking them back.
    const auto replace = [this, &preferences = preferences_, alive = lifetime_.weak()](const auto& other) {
        preferences.setFaceGroupingEdits(other);
        if (alive.lock()) refresh();
    };
    undoStack_->push({.label = std::move(label),
                      .undo = [replace, before = std::move(before)] { replace(before); },
                      .redo = [replace, after = std::move(edits)] { replace(after); }});
    return true;
}

void FaceGroups::replaceEdits(FaceGroupingEdits edits) {
    preferences_.setFaceGroupingEdits(std::move(edits));
    refresh();
}

}  // namespace kelvaris
