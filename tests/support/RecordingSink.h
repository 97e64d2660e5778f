// Test listeners and a test navigator that record what the store asks of them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "KRAdvancedViews/IViewManager.h"
#include "zul/com/Object.h"

namespace krav::test {

// Records every notification as "Event(name)" lines.
class CRecordingSink : public zul::com::ObjectRoot, public IViewManagerSink {
public:
    ZUL_BEGIN_INTERFACE_MAP(CRecordingSink)
    ZUL_INTERFACE_ENTRY(IViewManagerSink)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    std::vector<std::string> events;
    std::function<void(const std::string&)> onEvent; // runs after recording

    HRESULT STDMETHODCALLTYPE NotifyViewCreated(const char* n) override {
        return note("Created", n);
    }
    HRESULT STDMETHODCALLTYPE NotifyViewPreDestroy(const char* n) override {
        return note("PreDestroy", n);
    }
    HRESULT STDMETHODCALLTYPE NotifyViewDestroyed(const char* n) override {
        return note("Destroyed", n);
    }
    HRESULT STDMETHODCALLTYPE NotifyViewPreEdit(const char* n) override {
        return note("PreEdit", n);
    }
    HRESULT STDMETHODCALLTYPE NotifyViewEdited(const char* n) override { return note("Edited", n); }
    HRESULT STDMETHODCALLTYPE NotifyViewRenamed(const char* o, const char* n) override {
        return note("Renamed", std::string(o) + "," + n);
    }
    HRESULT STDMETHODCALLTYPE NotifyBatchViewEditBegin() override { return note("BatchBegin", ""); }
    HRESULT STDMETHODCALLTYPE NotifyBatchViewEditEnd() override { return note("BatchEnd", ""); }

private:
    HRESULT note(const char* what, const std::string& name) {
        const std::string line = std::string(what) + "(" + name + ")";
        events.push_back(line);
        if (onEvent) onEvent(line);
        return E_FAIL; // listeners' results are ignored by the store
    }
};

// Records the records it is asked to apply.
class CTestNavigator : public zul::com::ObjectRoot, public IViewNavigator {
public:
    ZUL_BEGIN_INTERFACE_MAP(CTestNavigator)
    ZUL_INTERFACE_ENTRY(IViewNavigator)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    std::vector<FullViewInfo> applied;
    HRESULT result = S_OK;

    HRESULT STDMETHODCALLTYPE SetView(float*, float*, CameraTypeEnum) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetViewExt(float*, float*, CameraTypeEnum, float*, float*, float,
                                         int) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE SetViewInfo(FullViewInfo* info) override {
        applied.push_back(*info);
        return result;
    }
    HRESULT STDMETHODCALLTYPE GetViewInfo(FullViewInfo*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE AlignToAxis(AxisEnum) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetUpAxisForAxisAlignment(AxisEnum, AxisEnum) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetUpAxisForAxisAlignment(AxisEnum, AxisEnum*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE SetAngleOfRotation(float) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetAngleOfRotation(float*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetDistOfTranslation(float) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDistOfTranslation(float*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RotateAroundAxis(AxisEnum) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RotateAroundAxisByAngle(AxisEnum, float) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE TranslateAlongAxis(AxisEnum) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE TranslateAlongAxisByDist(AxisEnum, float) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE RegisterInterest(IViewNavigatorSink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE UnregisterInterest(IViewNavigatorSink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RefreshView() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RefreshUI() override { return E_NOTIMPL; }
};

} // namespace krav::test
