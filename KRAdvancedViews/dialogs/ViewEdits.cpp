#include "dialogs/ViewEdits.h"

#include <cmath>

#include "KRAdvancedViews/IViewStoreEdits.h"
#include "KRAdvancedViews/StoreLayout.h"
#include "dialogs/ViewAngles.h"
#include "resources/StringTable.h"
#include "zul/com/ComPtr.h"

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
    zul::com::ComPtr<IViewStoreEdits> edits;
    if (SUCCEEDED(zul::com::ComPtr<IViewManager2>(store).As(edits))) {
        std::vector<const char*> list;
        for (const std::string& name : names)
            list.push_back(name.c_str());
        edits->DestroyViews(list.data(), static_cast<int32_t>(list.size()));
        return;
    }
    store->BeginBatchViewEdit();
    for (const std::string& name : names)
        store->DestroyView(name.c_str());
    store->EndBatchViewEdit();
}

bool MoveView(IViewManager2* store, const std::string& name, int direction) {
    zul::com::ComPtr<IViewStoreEdits> edits;
    if (FAILED(zul::com::ComPtr<IViewManager2>(store).As(edits))) return false;
    return edits->MoveView(name.c_str(), direction) == S_OK;
}

} // namespace krav::dialogs
