// How the module meets its dialogs without depending on a widget toolkit: the
// module manager asks the factories set here for the Standard Views dialog and
// the Rotate dialog when a viewer with a window is attached. The dialogs
// library sets them (see dialogs/QtDialogs.h); with none set, or a host that
// has no window, the module runs without dialogs.
#pragma once

#include "KRAdvancedViews/host/IHostFileDialog.h"

#include "KRAdvancedViews/IAdvancedViewsModuleMgr.h"
#include "KRAdvancedViews/IViewManager.h"
#include "KRAdvancedViews/host/IHostModuleSite.h"
#include "KRAdvancedViews/host/IHostUIService.h"

// The Standard Views dialog as the module drives it.
struct IStandardViewsDialog : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetWindowHandle(UINT_PTR* pHandle) = 0;
    virtual HRESULT STDMETHODCALLTYPE Show(BOOL show) = 0;
    virtual HRESULT STDMETHODCALLTYPE Close() = 0; // destroys its window
    virtual HRESULT STDMETHODCALLTYPE IsPointPick(BOOL* pPoint) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPickedVector(const float v[3]) = 0;
    // The store's events, passed on by the module: "Created", "PreDestroy",
    // "Destroyed", "PreEdit", "Edited", "Renamed", "BatchBegin", "BatchEnd".
    virtual HRESULT STDMETHODCALLTYPE OnViewEvent(const char* event, const char* name,
                                                  const char* newName) = 0;
};
ZUL_DECLARE_IID(IStandardViewsDialog, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E010C");

// The Rotate dialog as the navigator drives it.
struct IViewNavigatorDialog : IUnknown {
    // Binds the view store whose names fill the drop-down (null unbinds).
    virtual HRESULT STDMETHODCALLTYPE Setup(IViewManager* pIViewManager) = 0;
    // 1: the "Edit..." button is up (the Standard Views dialog is hidden), 0: down.
    virtual HRESULT STDMETHODCALLTYPE SetViewEditButtonState(int bUpOrDown) = 0;
    virtual HRESULT STDMETHODCALLTYPE Show(int bShow) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsShowing(int* pbShow) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetWindowHandle(UINT_PTR* pHandle) = 0;
    virtual HRESULT STDMETHODCALLTYPE Close() = 0; // destroys its window
};
ZUL_DECLARE_IID(IViewNavigatorDialog, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0108");

// Implemented by the navigator: the module manager hands it its Rotate dialog.
struct IViewNavigatorDialogHolder : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetDialog(IViewNavigatorDialog* pDialog) = 0;
};
ZUL_DECLARE_IID(IViewNavigatorDialogHolder, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0109");

namespace krav {

// What a dialog may reach. Pointers are borrowed for the call; a dialog keeps
// its own references. Any of them may be null.
struct DialogContext {
    IViewManager* store = nullptr;
    IViewNavigator* navigator = nullptr;
    IViewDialogInteraction* picking = nullptr;
    IHostUIService* ui = nullptr;
    IHostCommandService* commands = nullptr;
    UINT_PTR parent = 0; // the host's frame window, never 0
};

using StandardViewsDialogFactory = HRESULT (*)(const DialogContext& context,
                                               IStandardViewsDialog** ppDialog);
using NavigatorDialogFactory = HRESULT (*)(const DialogContext& context,
                                           IViewNavigatorDialog** ppDialog);

// Null factories (the default) mean the module runs without dialogs.
void SetDialogFactories(StandardViewsDialogFactory standardViews, NavigatorDialogFactory navigator);

} // namespace krav
