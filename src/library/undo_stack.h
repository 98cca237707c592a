#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/observable.h"
#include "base/uuid.h"

namespace kelvaris {

/// One user step that can be taken back. The closures restore state directly and push nothing; they
/// hold the roll weakly and the photo strongly.
struct UndoableAction {
    std::string label;  ///< the name shown in the menu, for example "Rotate Clockwise"
    std::function<void()> undo;
    std::function<void()> redo;
    /// The roll that is edited, so that it can be brought into view first; none for an act on the library.
    std::optional<RollID> roll;
};

enum class UndoStackField { undoStack, redoStack };

/// The reversible edits of the active roll; the newest stands last. Nothing is stored. Main thread.
class UndoStack : public Observable<UndoStackField> {
public:
    static constexpr std::size_t limit = 50;

    /// Drops the oldest action beyond the limit, and everything that could be redone.
    void push(UndoableAction action);
    void undo();
    void redo();
    void clear();

    bool canUndo() const { return !undoStack_.empty(); }
    bool canRedo() const { return !redoStack_.empty(); }
    const std::vector<UndoableAction>& undoStack() const { return undoStack_; }
    const std::vector<UndoableAction>& redoStack() const { return redoStack_; }

private:
    std::vector<UndoableAction> undoStack_;
    std::vector<UndoableAction> redoStack_;
};

}  // namespace kelvaris
