#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/analysis_cancellation.h"
#include "base/lifetime.h"
#include "base/observable.h"
#include "base/operation_queue.h"
#include "discovery/discovery_library.h"
#include "discovery/face_grouping.h"
#include "library/undo_stack.h"
#include "preferences/user_preferences.h"

namespace kelvaris {

enum class FaceGroupsField { groups, isGrouping };

/// The people of the library: the groups of faces over all rolls, and the user's corrections of them.
/// Main thread; the grouping runs on the queue.
class FaceGroups : public Observable<FaceGroupsField> {
public:
    /// All must outlive the object, the queue also its work, and the preferences the undo stack's steps.
    /// @param undoStack may be null.
    FaceGroups(DiscoveryLibrary& library, UserPreferences& preferences, UndoStack* undoStack,
               OperationQueue& queue, MainQueue& main);
    ~FaceGroups();

    /// Groups all faces anew; a running grouping is replaced. The groups stay until the new ones are there.
    void refresh();

    /// Largest first. A list that is never changed once made: hold it as long as it is shown.
    using Groups = std::shared_ptr<const std::vector<SuggestedFaceGroup>>;
    const Groups& groups() const { return groups_; }
    bool isGrouping() const { return isGrouping_; }

    // Corrections. Each replaces the stored edits, can be undone, and groups anew. Nothing changes while a
    // grouping runs, since the groups shown are then not those of the edits, nor for ids that are not
    // among the groups and faces that are not in their group. @return whether anything changed.
    bool merge(std::string_view intoGroupID, std::string_view fromGroupID);
    bool move(const FaceAnchor& face, std::string_view fromGroupID, std::string_view toGroupID);
    bool takeOut(const FaceAnchor& face, std::string_view fromGroupID);

private:
    const SuggestedFaceGroup* group(std::string_view id) const;
    bool correct(std::string label, FaceGroupingEdits edits);
    void replaceEdits(FaceGroupingEdits edits);

    DiscoveryLibrary& library_;
    UserPreferences& preferences_;
    UndoStack* undoStack_;
    OperationQueue& queue_;
    MainQueue& main_;
    Groups groups_ = std::make_shared<std::vector<SuggestedFaceGroup>>();
    bool isGrouping_ = false;
    RunStamp groupingGeneration_;
    AnalysisCancellationPointer cancellation_;
    Lifetime lifetime_;
};

}  // namespace kelvaris
