// The recording camera model as the navigator tests' host: it also stands in for
// the module manager, recording the locked up axis the navigator reports.
#pragma once

#include "RecordingViewer.h"
#include "ViewNavigator.h"

namespace krav::test {

using zul::test::CallLog;

class CTestHost : public zul::test::CRecordingViewer, public IViewNavigatorOwner {
public:
    ZUL_BEGIN_INTERFACE_MAP(CTestHost)
    ZUL_INTERFACE_ENTRY_CHAIN(zul::runtime::CCameraModel)
    ZUL_INTERFACE_ENTRY(IViewNavigatorOwner)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    std::vector<int> lockedVecs;
    // Tests of the navigator send the camera-change event themselves, when
    // they mean to: a redraw here only records.
    HRESULT STDMETHODCALLTYPE Redraw() override {
        record("Redraw");
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE UpdateLockedVec(int v) override {
        lockedVecs.push_back(v);
        return S_OK;
    }
};

} // namespace krav::test
