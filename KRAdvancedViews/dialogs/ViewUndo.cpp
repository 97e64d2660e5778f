#include "dialogs/ViewUndo.h"

#include <algorithm>

#include "KRAdvancedViews/IViewStoreEdits.h"
#include "zul/com/ComPtr.h"

namespace krav::dialogs {

ViewsSnapshot TakeSnapshot(IViewManager2* store) {
    return store ? ListStoredViews(store) : ViewsSnapshot();
}

bool SameSnapshot(const ViewsSnapshot& a, const ViewsSnapshot& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const StoredView& x, const StoredView& y) {
                          return x.name == y.name && krav::SameRecord(x.info, y.info);
                      });
}

void ViewUndoStack::Record(const std::string& what, ViewsSnapshot before, ViewsSnapshot after) {
    if (SameSnapshot(before, after)) return;
    steps_.resize(done_);
    steps_.push_back({what, std::move(before), std::move(after)});
    if (steps_.size() > kDepth) steps_.erase(steps_.begin());
    done_ = steps_.size();
}

void ViewUndoStack::Clear() {
    steps_.clear();
    done_ = 0;
}

ViewUndoStack::Outcome ViewUndoStack::_restore(IViewManager2* store, const ViewsSnapshot& expected,
                                               const ViewsSnapshot& wanted) {
    // A store changed by someone else since: restoring would throw their
    // change away, so the history no longer applies.
    if (!SameSnapshot(TakeSnapshot(store), expected)) {
        Clear();
        return Outcome::ChangedElsewhere;
    }
    zul::com::ComPtr<IViewStoreEdits2> edits;
    if (!store || FAILED(store->QueryInterface(zul::com::iidOf<IViewStoreEdits2>(),
                                               reinterpret_cast<void**>(edits.GetAddressOf()))))
        return Outcome::Failed;
    std::vector<const char*> names;
    std::vector<FullViewInfo> records;
    for (const StoredView& view : wanted) {
        names.push_back(view.name.c_str());
        records.push_back(view.info);
    }
    return edits->ReplaceAllViews(names.data(), records.data(), int32_t(names.size())) == S_OK
               ? Outcome::Done
               : Outcome::Failed;
}

ViewUndoStack::Outcome ViewUndoStack::Undo(IViewManager2* store) {
    if (!CanUndo()) return Outcome::Nothing;
    const Step& step = steps_[done_ - 1];
    const Outcome outcome = _restore(store, step.after, step.before);
    if (outcome == Outcome::Done) --done_;
    return outcome;
}

ViewUndoStack::Outcome ViewUndoStack::Redo(IViewManager2* store) {
    if (!CanRedo()) return Outcome::Nothing;
    const Step& step = steps_[done_];
    const Outcome outcome = _restore(store, step.before, step.after);
    if (outcome == Outcome::Done) ++done_;
    return outcome;
}

} // namespace krav::dialogs
