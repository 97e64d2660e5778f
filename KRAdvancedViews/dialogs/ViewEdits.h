// What the Standard Views dialog does to records and to the store, apart
// from its widgets (so it is tested without a QApplication): the record
// Add and Replace store, the multiple delete that closes the gaps, and
// moving a view by swapping it with its neighbour.
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

// Deletes `names` and gives every remaining view the position it has in the
// list (1..n), all in one batch of the store.
void DeleteClosingGaps(IViewManager2* store, const std::vector<std::string>& names);

// Exchanges the list positions of views `a` and `b`: the names change
// places by three renames through the placeholder name (the positions stay),
// then each name gets its own record back at its new position, so each view
// keeps its record and its default mark. False when a step failed.
bool SwapViews(IViewManager2* store, const std::string& a, const std::string& b);

} // namespace krav::dialogs
