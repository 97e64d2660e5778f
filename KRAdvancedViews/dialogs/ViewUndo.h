// The Standard Views dialog's undo history: each change the dialog made to
// the store, kept as the list of views before and after it, so that undoing
// a change, whatever it was (an add, a move's three renames, a load that
// replaced some views and added others), is one restore of the store. It
// knows nothing of widgets, so it is tested without a QApplication.
#pragma once

#include <string>
#include <vector>

#include "KRAdvancedViews/IViewManager.h"
#include "KRAdvancedViews/StoreLayout.h"

namespace krav::dialogs {

// Every stored view with its record, in list order.
using ViewsSnapshot = std::vector<StoredView>;
ViewsSnapshot TakeSnapshot(IViewManager2* store);
bool SameSnapshot(const ViewsSnapshot& a, const ViewsSnapshot& b);

class ViewUndoStack {
public:
    // What Undo and Redo found.
    enum class Outcome {
        Done,
        Nothing,          // no step that way
        ChangedElsewhere, // the store is not as the step left it: the history is cleared
        Failed,           // the store refused the restore: nothing changed, the step stays
    };

    // Keeps a change named `what` (shown in the buttons' tooltips); drops
    // the steps that could be redone. A change that changed nothing is not
    // kept. At most kDepth steps; the oldest go first.
    static constexpr size_t kDepth = 100;
    void Record(const std::string& what, ViewsSnapshot before, ViewsSnapshot after);
    Outcome Undo(IViewManager2* store);
    Outcome Redo(IViewManager2* store);
    void Clear();
    bool CanUndo() const { return done_ > 0; }
    bool CanRedo() const { return done_ < steps_.size(); }
    // The name of the step Undo or Redo would take back or do again.
    std::string UndoName() const { return CanUndo() ? steps_[done_ - 1].what : std::string(); }
    std::string RedoName() const { return CanRedo() ? steps_[done_].what : std::string(); }

private:
    struct Step {
        std::string what;
        ViewsSnapshot before, after;
    };
    Outcome _restore(IViewManager2* store, const ViewsSnapshot& expected,
                     const ViewsSnapshot& wanted);
    std::vector<Step> steps_;
    size_t done_ = 0; // steps_[0, done_) are in the store
};

} // namespace krav::dialogs
