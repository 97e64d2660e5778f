#include "dialogs/ViewEdits.h"

#include <cmath>

#include "KRAdvancedViews/StoreLayout.h"
#include "dialogs/ViewAngles.h"
#include "resources/StringTable.h"

namespace krav::dialogs {
namespace {

double s_length(const double v[3]) {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

bool s_parallel(const double a[3], const double b[3]) {
    const double c[3] = {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2],
                         a[0] * b[1] - a[1] * b[0]};
    return s_length(c) <= 1e-6 * s_length(a) * s_length(b);
}

} // namespace

void ApplyChoices(FullViewInfo& record, const RecordChoices& c) {
    const int kept =
        record.iChangeBits & ~(ViewChangeViewVector | ViewChangeAtPoint | ViewChangeCarried |
                               ViewChangeFromPoint | ViewChangeViewAngle | ViewChangeDefaultView);
    record.iChangeBits = kept | ViewChangeCameraType |
                         (c.angles ? ViewChangeViewVector : ViewChangeAtPoint) |
                         (c.lookFrom ? ViewChangeFromPoint : ViewChangeCarried) |
                         (c.fieldOfView ? ViewChangeViewAngle : 0);
    if (c.fieldOfView) record.viewAngle = float(c.angle);
    record.cameraType = c.perspective ? Perspective : Orthographic;
}

unsigned AssemblePose(FullViewInfo& record, const RecordChoices& c, const double angles[3],
                      const double at[3], const double upIn[3], const double eye[3],
                      const float currentView[3]) {
    double view[3], up[3] = {upIn[0], upIn[1], upIn[2]};
    if (c.angles) {
        AnglesToVectors(angles, view, up);
    } else {
        if (s_length(up) == 0.0) return IDS_ZERO_VECTOR;
        for (int i = 0; i < 3; ++i)
            view[i] = c.lookFrom ? at[i] - eye[i] : currentView[i];
        if (c.lookFrom && s_length(view) == 0.0) return IDS_IDENTICAL_POINTS;
        if (s_length(view) == 0.0) return IDS_ZERO_VECTOR;
        if (s_parallel(view, up)) return IDS_PARALLEL_VECTORS;
    }
    for (int i = 0; i < 3; ++i) {
        record.pViewVector[i] = float(view[i]);
        record.pUpVector[i] = float(up[i]);
        if (!c.angles) record.pAtVector[i] = float(at[i]);
        if (c.lookFrom) record.pFromVector[i] = float(eye[i]);
    }
    if (!c.angles || c.lookFrom) record.bHasFromAndAt = 1;
    ApplyChoices(record, c);
    return 0;
}

void KeepDefaultMark(FullViewInfo& record, bool replacesTheDefault) {
    if (replacesTheDefault)
        record.iChangeBits |= ViewChangeDefaultView;
    else
        record.iChangeBits &= ~ViewChangeDefaultView;
}

void DeleteClosingGaps(IViewManager2* store, const std::vector<std::string>& names) {
    store->BeginBatchViewEdit();
    for (const std::string& name : names)
        store->DestroyView(name.c_str());
    int position = 0;
    for (StoredView& view : ListStoredViews(store)) {
        ++position;
        if (view.info.iViewIndex == position) continue;
        view.info.iViewIndex = position;
        store->EditViewInfo(view.name.c_str(), view.info);
    }
    store->EndBatchViewEdit();
}

bool SwapViews(IViewManager2* store, const std::string& a, const std::string& b) {
    FullViewInfo recordA, recordB;
    if (store->GetViewInfo(a.c_str(), &recordA) != S_OK ||
        store->GetViewInfo(b.c_str(), &recordB) != S_OK)
        return false;
    std::swap(recordA.iViewIndex, recordB.iViewIndex);
    return SUCCEEDED(store->RenameView(a.c_str(), kPlaceholderViewName)) &&
           SUCCEEDED(store->RenameView(b.c_str(), a.c_str())) &&
           SUCCEEDED(store->RenameView(kPlaceholderViewName, b.c_str())) &&
           SUCCEEDED(store->EditViewInfo(a.c_str(), recordA)) &&
           SUCCEEDED(store->EditViewInfo(b.c_str(), recordB));
}

} // namespace krav::dialogs
