// A view store in front of the real one: every call is recorded with the
// name it names (and, for creation, the index asked for) and passed on, so a
// test can assert what a dialog asked of the store.
#pragma once

#include "zul/com/ObjectWithSite.h"

#include <string>
#include <vector>

#include "RecordingViewer.h"
#include "ViewManager.h"
#include "zul/com/ComPtr.h"
#include "zul/com/Object.h"

namespace krav::test {

class CRecordingStore : public zul::com::ObjectRoot,
                        public zul::test::CallLog,
                        public IViewManager2,
                        public IViewStoreEdits,
                        public IObjectWithSite,
                        public IViewFileReport {
public:
    ZUL_BEGIN_INTERFACE_MAP(CRecordingStore)
    ZUL_INTERFACE_ENTRY(IViewManager2)
    ZUL_INTERFACE_ENTRY(IViewFileReport)
    ZUL_INTERFACE_ENTRY(IViewStoreEdits)
    ZUL_INTERFACE_ENTRY2(IViewManager, IViewManager2)
    ZUL_INTERFACE_ENTRY(IObjectWithSite)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    zul::com::ComPtr<CViewManager> real;

    CRecordingStore() {
        IViewManager2* store = nullptr;
        zul::com::createInstance<CViewManager>(nullptr, zul::com::iidOf<IViewManager2>(),
                                               reinterpret_cast<void**>(&store));
        real.Attach(static_cast<CViewManager*>(store));
    }
    static std::string s(const char* p) { return p ? p : "(null)"; }

    // IViewManager
    HRESULT STDMETHODCALLTYPE CreateView(const char* n, float u[3], float v[3], CameraTypeEnum t,
                                         int i) override {
        record("CreateView(" + s(n) + ")");
        return real->CreateView(n, u, v, t, i);
    }
    HRESULT STDMETHODCALLTYPE EditView(const char* n, float u[3], float v[3], CameraTypeEnum t,
                                       int i) override {
        record("EditView(" + s(n) + ")");
        return real->EditView(n, u, v, t, i);
    }
    HRESULT STDMETHODCALLTYPE GetView(const char* n, float u[3], float v[3], CameraTypeEnum* t,
                                      int* i) override {
        return real->GetView(n, u, v, t, i);
    }
    HRESULT STDMETHODCALLTYPE DestroyView(const char* n) override {
        record("DestroyView(" + s(n) + ")");
        return real->DestroyView(n);
    }
    HRESULT STDMETHODCALLTYPE RenameView(const char* a, const char* b) override {
        record("RenameView(" + s(a) + "," + s(b) + ")");
        return real->RenameView(a, b);
    }
    HRESULT STDMETHODCALLTYPE SaveViews(char* f, FileTypeEnum t) override {
        record("SaveViews(" + std::to_string(t) + ")");
        return real->SaveViews(f, t);
    }
    HRESULT STDMETHODCALLTYPE LoadViews(char* f, FileTypeEnum t) override {
        record("LoadViews(" + std::to_string(t) + ")");
        return real->LoadViews(f, t);
    }
    HRESULT STDMETHODCALLTYPE ShowView(const char* n) override {
        record("ShowView(" + s(n) + ")");
        return real->ShowView(n);
    }
    // IViewManager2
    HRESULT STDMETHODCALLTYPE CreateViewInfo(const char* n, FullViewInfo i) override {
        record("CreateViewInfo(" + s(n) + "," + std::to_string(i.iViewIndex) + ")");
        return real->CreateViewInfo(n, i);
    }
    HRESULT STDMETHODCALLTYPE EditViewInfo(const char* n, FullViewInfo i) override {
        record("EditViewInfo(" + s(n) + "," + std::to_string(i.iViewIndex) + ")");
        return real->EditViewInfo(n, i);
    }
    HRESULT STDMETHODCALLTYPE GetViewInfo(const char* n, FullViewInfo* i) override {
        return real->GetViewInfo(n, i);
    }
    HRESULT STDMETHODCALLTYPE DestroyViewExt(const char* n) override {
        record("DestroyViewExt(" + s(n) + ")");
        return real->DestroyViewExt(n);
    }
    HRESULT STDMETHODCALLTYPE RenameViewExt(const char* a, const char* b) override {
        record("RenameViewExt(" + s(a) + "," + s(b) + ")");
        return real->RenameViewExt(a, b);
    }
    HRESULT STDMETHODCALLTYPE CreateViewExt(const char* n, float u[3], float v[3], CameraTypeEnum t,
                                            int i, float f[3], float a[3], float g,
                                            int b) override {
        record("CreateViewExt(" + s(n) + ")");
        return real->CreateViewExt(n, u, v, t, i, f, a, g, b);
    }
    HRESULT STDMETHODCALLTYPE EditViewExt(const char* n, float u[3], float v[3], CameraTypeEnum t,
                                          int i, float f[3], float a[3], float g, int b) override {
        record("EditViewExt(" + s(n) + ")");
        return real->EditViewExt(n, u, v, t, i, f, a, g, b);
    }
    HRESULT STDMETHODCALLTYPE GetViewExt(const char* n, float u[3], float v[3], CameraTypeEnum* t,
                                         int* i, float f[3], float a[3], float* g,
                                         int* b) override {
        return real->GetViewExt(n, u, v, t, i, f, a, g, b);
    }
    HRESULT STDMETHODCALLTYPE RegisterInterest(IViewManagerSink* p) override {
        return real->RegisterInterest(p);
    }
    HRESULT STDMETHODCALLTYPE UnregisterInterest(IViewManagerSink* p) override {
        return real->UnregisterInterest(p);
    }
    HRESULT STDMETHODCALLTYPE BeginBatchViewEdit() override {
        record("BeginBatch");
        return real->BeginBatchViewEdit();
    }
    HRESULT STDMETHODCALLTYPE EndBatchViewEdit() override {
        record("EndBatch");
        return real->EndBatchViewEdit();
    }
    HRESULT STDMETHODCALLTYPE ShowViewExt(const char* n) override { return real->ShowViewExt(n); }
    HRESULT STDMETHODCALLTYPE SetDefaultView(const char* n) override {
        record("SetDefaultView(" + s(n) + ")");
        return real->SetDefaultView(n);
    }
    HRESULT STDMETHODCALLTYPE GetDefaultView(FullViewInfo* i) override {
        return real->GetDefaultView(i);
    }
    HRESULT STDMETHODCALLTYPE ApplyDefaultView() override { return real->ApplyDefaultView(); }
    HRESULT STDMETHODCALLTYPE SaveViewsExt(const char* f, FileTypeEnum t) override {
        return real->SaveViewsExt(f, t);
    }
    HRESULT STDMETHODCALLTYPE LoadViewsExt(const char* f, FileTypeEnum t) override {
        return real->LoadViewsExt(f, t);
    }
    HRESULT STDMETHODCALLTYPE BindViewNavigator(IViewNavigator* n) override {
        return real->BindViewNavigator(n);
    }
    // IViewStoreEdits
    HRESULT STDMETHODCALLTYPE MoveView(const char* n, int32_t direction) override {
        record("MoveView(" + s(n) + "," + std::to_string(direction) + ")");
        return real->MoveView(n, direction);
    }
    HRESULT STDMETHODCALLTYPE DestroyViews(const char* const* names, int32_t count) override {
        std::string list;
        for (int32_t i = 0; names && i < count; ++i)
            list += (i ? "," : "") + s(names[i]);
        record("DestroyViews(" + list + ")");
        return real->DestroyViews(names, count);
    }
    HRESULT STDMETHODCALLTYPE CheckForChanges() override { return real->CheckForChanges(); }
    // IObjectWithSite
    HRESULT STDMETHODCALLTYPE SetSite(IUnknown* site) override { return real->SetSite(site); }
    bool STDMETHODCALLTYPE ToldUserOfLastFailure() override {
        return real->ToldUserOfLastFailure();
    }
    HRESULT STDMETHODCALLTYPE GetSite(REFIID riid, void** pp) override {
        return real->GetSite(riid, pp);
    }
};

} // namespace krav::test
