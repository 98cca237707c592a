#include "library/undo_stack.h"

#include <utility>

namespace kelvaris {

void UndoStack::push(UndoableAction action) {
    undoStack_.push_back(std::move(action));
    if (undoStack_.size() > limit) undoStack_.erase(undoStack_.begin());
    redoStack_.clear();
    notify(UndoStackField::undoStack);
    notify(UndoStackField::redoStack);
}

void UndoStack::undo() {
    if (undoStack_.empty()) return;
    UndoableAction action = std::move(undoStack_.back());
    undoStack_.pop_back();
    action.undo();
    redoStack_.push_back(std::move(action));
    notify(UndoStackField::undoStack);
    notify(UndoStackField::redoStack);
}

void UndoStack::redo() {
    if (redoStack_.empty()) return;
    UndoableAction action = std::move(redoStack_.back());
    redoStack_.pop_back();
    action.redo();
    undoStack_.push_back(std::move(action));
    notify(UndoStackField::undoStack);
    notify(UndoStackField::redoStack);
}

void UndoStack::clear() {
    undoStack_.clear();
    redoStack_.clear();
    notify(UndoStackField::undoStack);
    notify(UndoStackField::redoStack);
}

}  // namespace kelvaris
