// What the Standard Views dialog does to records and to the store, apart
// from its widgets (so it is tested without a QApplication): the record
// Add and Replace store, the multiple delete that closes the gaps, and
// moving a view past its neighbour.
#pragma once

#include <string>
#include <vector>

#include "KRAdvancedViews/IViewManager.h"

namespace krav::dialogs {

// The dialog's choices, read from its radios, check box and field.
struct RecordChoices {
    bool angles = false;      // the view is given by angles (else by a look-at point)
    bool lookFrom = false;    // the eye is the look-from point (else it is carried)
    bool perspective = false; // the camera type
    bool fieldOfView = false; // perspective with its own field of view
    double angle = 0;         // that field of view, degrees
};

// The change bits, camera type and angle the choices give a record: view
// vector (angles) or look-at point, look-from point or carried eye, camera
// type always, field of view when chosen; the default mark is dropped (the
// caller decides it). Other bits stay.
void ApplyChoices(FullViewInfo& record, const RecordChoices& choices);

// The pose the fields give: from angles (rotations of the plan view, see
// ViewAngles.h) or from look-at, up and (with lookFrom) look-from vectors;
// `currentView` is the record's view vector where no look-from point gives
// one. 0 with `record` set (vectors, points, bits, type, angle), or the
// string id of what is wrong (IDS_ZERO_VECTOR, IDS_IDENTICAL_POINTS,
// IDS_PARALLEL_VECTORS) with `record` unchanged.
unsigned AssemblePose(FullViewInfo& record, const RecordChoices& choices, const double angles[3],
                      const double at[3], const double up[3], const double eye[3],
                      const float currentView[3]);

// Replace keeps the default mark where it was: the record taken from the
// camera never carries it.
void KeepDefaultMark(FullViewInfo& record, bool replacesTheDefault);

// Deletes `names` and moves the views behind them up so the indices stay
// 1..n, as one change of the store (IViewStoreEdits::DestroyViews). A store
// without the compound edits deletes each view in one batch and leaves the
// gaps, which its next addition fills.
void DeleteClosingGaps(IViewManager2* store, const std::vector<std::string>& names);

// Moves view `name` one place down (MoveViewDown) or up (MoveViewUp) as one
// change of the store (IViewStoreEdits::MoveView). False when nothing moved:
// no neighbour there, a failure (the store is as it was), or a store without
// the compound edits.
bool MoveView(IViewManager2* store, const std::string& name, int direction);

} // namespace krav::dialogs
