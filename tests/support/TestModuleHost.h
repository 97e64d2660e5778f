// A host for the module manager: site, frame, menus, windows, commands, a
// viewer (the camera host of TestHost.h), scene graph and picking, each call
// recorded. `failOn` makes the call of that name fail with E_ACCESSDENIED.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "AdvancedViewsModuleMgr.h"
#include "KRAdvancedViews/host/IHostModuleSite.h"
#include "RecordingStore.h"
#include "TestHost.h"
#include "ViewManager.h"
#include "ViewNavigator.h"
#include <functional>

namespace krav::test {

constexpr DWORD kTestModuleId = 41, kTestFrameId = 42, kTestViewerId = 100;

class CTestModuleHost : public zul::com::ObjectRoot,
                        public CallLog,
                        public IHostModuleSite,
                        public IHostFrame,
                        public IHostMenuManager,
                        public IHostUIService,
                        public IHostWindowService,
                        public IHostCommandService,
                        public IHostSceneGraph,
                        public IHostPickService,
                        public IHostFileDialog {
public:
    ZUL_BEGIN_INTERFACE_MAP(CTestModuleHost)
    ZUL_INTERFACE_ENTRY(IHostModuleSite)
    ZUL_INTERFACE_ENTRY(IHostFrame)
    ZUL_INTERFACE_ENTRY(IHostMenuManager)
    ZUL_INTERFACE_ENTRY(IHostUIService)
    ZUL_INTERFACE_ENTRY(IHostWindowService)
    ZUL_INTERFACE_ENTRY(IHostCommandService)
    ZUL_INTERFACE_ENTRY(IHostSceneGraph)
    ZUL_INTERFACE_ENTRY(IHostPickService)
    ZUL_INTERFACE_ENTRY(IHostFileDialog)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    std::string failOn;
    UINT_PTR window = 0;  // 0: a host without windows
    UINT popupChoice = 0; // what the user picks from a pop-up menu
    std::vector<UINT> popupDisabled;
    std::vector<std::pair<UINT, std::pair<std::string, BOOL>>> menuItems; // the view items
    std::vector<std::string> messages;
    int messageAnswer = 1; // the button the user chooses (IDOK, IDYES 6, IDNO 7)
    std::function<void(const std::string&)> onMessage; // runs while a message is shown
    std::function<void(DWORD)> onCommand;              // runs for ExecuteCommand
    std::string chosenFile;                            // the file dialog's answer; "" cancels
    bool recordStore = false;                          // the store is a CRecordingStore
    zul::com::ComPtr<CRecordingStore> recordingStore;
    DWORD pickMode = 7;
    float pickedPoint[3] = {1, 2, 3};
    DWORD pickedPart = 5;
    zul::com::ComPtr<CTestHost> viewer;
    std::map<DWORD, zul::com::ComPtr<IUnknown>> objects; // by cookie

    CTestModuleHost() {
        IHostApplication* app = nullptr;
        zul::com::createInstance<CTestHost>(nullptr, zul::com::iidOf<IHostApplication>(),
                                            reinterpret_cast<void**>(&app));
        viewer.Attach(static_cast<CTestHost*>(app));
    }

    HRESULT note(const std::string& call) {
        record(call);
        return call.rfind(failOn, 0) == 0 && !failOn.empty() ? E_ACCESSDENIED : S_OK;
    }

    // IHostModuleSite
    HRESULT STDMETHODCALLTYPE GetModuleValue(REFGUID key, DWORD* v) override {
        const bool module = key == KEY_HostModuleId;
        const HRESULT hr = note(module ? "GetModuleValue(module)" : "GetModuleValue(frame)");
        if (SUCCEEDED(hr)) *v = module ? kTestModuleId : kTestFrameId;
        return hr;
    }
    HRESULT STDMETHODCALLTYPE GetObject(DWORD id, REFIID riid, void** ppv) override {
        *ppv = nullptr;
        if (id == kTestFrameId) {
            const HRESULT hr = note("GetObject(frame)");
            return FAILED(hr) ? hr : QueryInterface(riid, ppv);
        }
        if (id == kTestViewerId) {
            if (riid == zul::com::iidOf<IHostApplication>())
                return viewer->QueryInterface(riid, ppv);
            return QueryInterface(riid, ppv); // scene graph and picking
        }
        const auto it = objects.find(id);
        return it == objects.end() ? E_INVALIDARG : it->second->QueryInterface(riid, ppv);
    }
    HRESULT STDMETHODCALLTYPE CreateModuleObject(REFCLSID clsid, DWORD* cookie) override {
        const bool store = clsid == CLSID_ViewManager;
        HRESULT hr = note(store ? "CreateModuleObject(store)" : "CreateModuleObject(navigator)");
        if (FAILED(hr)) return hr;
        zul::com::ComPtr<IUnknown> obj;
        if (store && recordStore) {
            IViewManager2* recording = nullptr;
            hr = zul::com::createInstance<CRecordingStore>(
                nullptr, zul::com::iidOf<IViewManager2>(), reinterpret_cast<void**>(&recording));
            if (FAILED(hr)) return hr;
            recordingStore.Attach(static_cast<CRecordingStore*>(recording));
            obj = zul::com::ComPtr<IUnknown>(static_cast<IViewManager2*>(recording));
        } else {
            hr = store ? zul::com::createInstance<CViewManager>(
                             nullptr, IID_IUnknown, reinterpret_cast<void**>(obj.GetAddressOf()))
                       : zul::com::createInstance<CViewNavigator>(
                             nullptr, IID_IUnknown, reinterpret_cast<void**>(obj.GetAddressOf()));
        }
        if (FAILED(hr)) return hr;
        *cookie = nextCookie_++;
        objects[*cookie] = obj;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE DeactivateModuleObject(DWORD cookie) override {
        return note("Deactivate(" + std::to_string(cookie) + ")");
    }
    HRESULT STDMETHODCALLTYPE DestroyModuleObject(DWORD cookie) override {
        objects.erase(cookie);
        return note("Destroy(" + std::to_string(cookie) + ")");
    }
    HRESULT STDMETHODCALLTYPE RegisterModuleUI(DWORD handle, DWORD, DWORD) override {
        return note("RegisterModuleUI(" + std::to_string(handle) + ")");
    }
    HRESULT STDMETHODCALLTYPE UnregisterModuleUI(DWORD handle, DWORD, DWORD) override {
        return note("UnregisterModuleUI(" + std::to_string(handle) + ")");
    }
    // IHostFrame
    HRESULT STDMETHODCALLTYPE GetWindowHandle(UINT_PTR* h) override {
        *h = window;
        return S_OK;
    }
    // IHostMenuManager
    HRESULT STDMETHODCALLTYPE InstallMenuWithHandler(DWORD, UINT menu,
                                                     IHostCommandHandler*) override {
        return note("InstallMenuWithHandler(" + std::to_string(menu) + ")");
    }
    HRESULT STDMETHODCALLTYPE RemoveMenuWithHandler(DWORD, UINT menu,
                                                    IHostCommandHandler*) override {
        return note("RemoveMenuWithHandler(" + std::to_string(menu) + ")");
    }
    HRESULT STDMETHODCALLTYPE InstallMenu(DWORD, DWORD* handle, UINT menu) override {
        const HRESULT hr = note("InstallMenu(" + std::to_string(menu) + ")");
        if (SUCCEEDED(hr)) *handle = 77;
        return hr;
    }
    HRESULT STDMETHODCALLTYPE RemoveMenu(DWORD, DWORD, UINT menu) override {
        return note("RemoveMenu(" + std::to_string(menu) + ")");
    }
    HRESULT STDMETHODCALLTYPE RemoveMenuItems(DWORD, UINT, UINT) override {
        menuItems.clear();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE AddMenuItem(DWORD, UINT, UINT id, const char* text,
                                          BOOL enabled) override {
        menuItems.push_back({id, {text, enabled}});
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE TrackPopupMenu(DWORD, UINT menu, const UINT* disabled, UINT n,
                                             UINT* chosen) override {
        popupDisabled.assign(disabled, disabled + n);
        *chosen = popupChoice;
        return note("TrackPopupMenu(" + std::to_string(menu) + ")");
    }
    // IHostUIService
    HRESULT STDMETHODCALLTYPE ShowMessage(const char* text, const char*, UINT,
                                          int* result) override {
        messages.emplace_back(text);
        if (onMessage) onMessage(text);
        if (result) *result = messageAnswer;
        return S_OK;
    }
    // IHostFileDialog
    HRESULT STDMETHODCALLTYPE ChooseFile(BOOL save, const char*, const char*, char* path,
                                         ULONG size) override {
        record(save ? "ChooseFile(save)" : "ChooseFile(open)");
        if (chosenFile.empty()) return S_FALSE;
        if (chosenFile.size() >= size) return E_INVALIDARG;
        std::copy(chosenFile.c_str(), chosenFile.c_str() + chosenFile.size() + 1, path);
        return S_OK;
    }
    // IHostWindowService
    HRESULT STDMETHODCALLTYPE AdoptWindow(UINT_PTR) override { return note("AdoptWindow"); }
    HRESULT STDMETHODCALLTYPE ReleaseWindow(UINT_PTR) override { return note("ReleaseWindow"); }
    // IHostCommandService
    HRESULT STDMETHODCALLTYPE ExecuteCommand(DWORD c) override {
        const HRESULT hr = note("ExecuteCommand(" + std::to_string(c) + ")");
        if (SUCCEEDED(hr) && onCommand) onCommand(c);
        return hr;
    }
    // IHostSceneGraph
    HRESULT STDMETHODCALLTYPE GetPartBoundingBox(DWORD part, float lo[3], float hi[3]) override {
        const HRESULT hr = note("GetPartBoundingBox(" + std::to_string(part) + ")");
        const float a[3] = {0, 0, 0}, b[3] = {2, 4, -6};
        for (int i = 0; i < 3 && SUCCEEDED(hr); ++i)
            lo[i] = a[i], hi[i] = b[i];
        return hr;
    }
    // IHostPickService
    HRESULT STDMETHODCALLTYPE BeginPick() override { return note("BeginPick"); }
    HRESULT STDMETHODCALLTYPE EndPick() override { return note("EndPick"); }
    HRESULT STDMETHODCALLTYPE GetPickMode(DWORD* m) override {
        *m = pickMode;
        return note("GetPickMode");
    }
    HRESULT STDMETHODCALLTYPE SetPickMode(DWORD m) override {
        pickMode = m;
        return note("SetPickMode(" + std::to_string(m) + ")");
    }
    HRESULT STDMETHODCALLTYPE GetPickedPoint(float p[3]) override {
        for (int i = 0; i < 3; ++i)
            p[i] = pickedPoint[i];
        return note("GetPickedPoint");
    }
    HRESULT STDMETHODCALLTYPE GetPickedPart(DWORD* part) override {
        *part = pickedPart;
        return note("GetPickedPart");
    }

private:
    DWORD nextCookie_ = 1;
};

// A Standard Views dialog that records what the module asks of it.
class CTestStandardViewsDialog : public zul::com::ObjectRoot, public IStandardViewsDialog {
public:
    ZUL_BEGIN_INTERFACE_MAP(CTestStandardViewsDialog)
    ZUL_INTERFACE_ENTRY(IStandardViewsDialog)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN
    static inline CTestStandardViewsDialog* last = nullptr;
    std::vector<std::string> events;
    BOOL pointPick = TRUE, shown = FALSE;
    float picked[3] = {0, 0, 0};
    HRESULT STDMETHODCALLTYPE GetWindowHandle(UINT_PTR* h) override {
        *h = 0x1234;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Show(BOOL s) override {
        shown = s;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Close() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE IsPointPick(BOOL* p) override {
        *p = pointPick;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetPickedVector(const float v[3]) override {
        for (int i = 0; i < 3; ++i)
            picked[i] = v[i];
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OnViewEvent(const char* e, const char* n, const char*) override {
        events.push_back(std::string(e) + "(" + (n ? n : "") + ")");
        return S_OK;
    }
    static HRESULT factory(const krav::DialogContext&, IStandardViewsDialog** pp) {
        IStandardViewsDialog* d = nullptr;
        const HRESULT hr = zul::com::createInstance<CTestStandardViewsDialog>(
            nullptr, zul::com::iidOf<IStandardViewsDialog>(), reinterpret_cast<void**>(&d));
        last = static_cast<CTestStandardViewsDialog*>(d);
        *pp = d;
        return hr;
    }
};

} // namespace krav::test
