// The module manager's public interface, its picking interface for the
// Standard Views dialog, and the interface a host drives the module through.
#pragma once

#include "zul/com/ObjectWithSite.h"

#include "KRAdvancedViews/IViewManager.h"

// The module as other code uses it once a viewer is attached: most calls go
// to the viewer's view store ("store", IViewManager2) or navigator
// (IViewNavigator) with their statuses; without them the call fails as
// each says, changing nothing. The view menu table is the module's list of
// stored views by index (slot i: command KRAV_ID_FIRST_VIEW + i).
struct IAdvancedViewsModuleMgr : IUnknown {
    // The id of the attached viewer (0: none). E_POINTER for null.
    virtual HRESULT STDMETHODCALLTYPE GetCurrentLum3DViewHandle(DWORD* pHandle) = 0;
    // How many views the view menu table holds. E_POINTER for null.
    virtual HRESULT STDMETHODCALLTYPE GetNumberViews(int* nViews) = 0;
    // GetViewNamesExt into a buffer of its own: the status only; the
    // caller's buffer is never written.
    virtual HRESULT STDMETHODCALLTYPE GetViewNames(char* pNames) = 0;
    // The navigator's rotation step (degrees) and alignments, rotations; each
    // E_POINTER without a navigator.
    virtual HRESULT STDMETHODCALLTYPE SetAngleOfRotation(float angle) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAngleOfRotation(float* pAngle) = 0;
    virtual HRESULT STDMETHODCALLTYPE AlignToAxis(AxisEnum axis) = 0;
    virtual HRESULT STDMETHODCALLTYPE RotateAroundAxis(AxisEnum axis) = 0;
    virtual HRESULT STDMETHODCALLTYPE RotateAroundAxisByAngle(AxisEnum axis, float angle) = 0;
    // Stores the present camera as a new view (CreateViewInfo of the
    // navigator's record). E_POINTER without store or navigator.
    virtual HRESULT STDMETHODCALLTYPE AddView(const char* pViewName) = 0;
    // Stores the present camera over a view of the view menu (EditViewInfo).
    // E_POINTER without store or navigator; E_FAIL for a name not in the menu.
    virtual HRESULT STDMETHODCALLTYPE ReplaceView(const char* pViewName) = 0;
    // The store's RenameView. E_POINTER without a store.
    virtual HRESULT STDMETHODCALLTYPE RenameView(const char* pOldName, const char* pNewName) = 0;
    // Deletes a view of the view menu and writes every later view back (its
    // index may move into the gap). E_POINTER without a store, for a null
    // name or a name not in the menu; the store's DestroyView failure.
    virtual HRESULT STDMETHODCALLTYPE DeleteView(const char* pViewName) = 0;
    // The store's ShowView, SaveViews, LoadViews. E_POINTER without a store.
    virtual HRESULT STDMETHODCALLTYPE ShowView(const char* pViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE SaveViews(char* pFilePath, FileTypeEnum fileType) = 0;
    virtual HRESULT STDMETHODCALLTYPE LoadViews(char* pFilePath, FileTypeEnum fileType) = 0;
    // The view menu's names joined by ";" in index order. *pLen: the capacity
    // of pNames in bytes on entry, the size needed (names and terminator) on
    // return, always. E_POINTER for a null pLen, or for a null pNames that
    // would have been big enough; E_OUTOFMEMORY when the capacity is short.
    virtual HRESULT STDMETHODCALLTYPE GetViewNamesExt(ULONG* pLen, char* pNames) = 0;
    // The store's SetDefaultView (null removes the mark). E_POINTER without a
    // store.
    virtual HRESULT STDMETHODCALLTYPE SetDefaultView(const char* pViewName) = 0;
    // The default view's name, with the capacity rules of GetViewNamesExt.
    // E_POINTER for a null pLen or without a store; E_FAIL when no view is
    // the default.
    virtual HRESULT STDMETHODCALLTYPE GetDefaultView(ULONG* pLen, char* pViewName) = 0;
    // The store's ApplyDefaultView (S_FALSE without a default view).
    // E_UNEXPECTED without a store.
    virtual HRESULT STDMETHODCALLTYPE ApplyDefaultView() = 0;
    // The navigator tells the module of a new locked up axis (0 none, 1 X,
    // 2 Y, 3 Z): the align commands along it and the stored views looking
    // exactly along it are disabled in the menus. S_OK.
    virtual HRESULT STDMETHODCALLTYPE UpdateLockedVec(int iLockedVec) = 0;
};

// Picking in the 3D view on behalf of the Standard Views dialog.
struct IViewDialogInteraction : IUnknown {
    // Starts (non-zero) or ends a pick through the host's pick service,
    // saving and restoring the host's pick mode. E_FAIL without a site; the
    // host's failure.
    virtual HRESULT STDMETHODCALLTYPE HandlePickForDialog(int bStart) = 0;
};

// How a host drives the module: it sets the module's site (IObjectWithSite,
// answering IHostModuleSite), starts it, attaches and detaches its viewers
// (attach and detach nest), tells it of picks, and stops it.
struct IZulModule : IUnknown {
    // Full "&View" menu (205) with the module's command handler when set;
    // the short menu (234) otherwise (the default). Read by Start.
    virtual HRESULT STDMETHODCALLTYPE SetMenuInstallMode(BOOL full) = 0;
    // Installs the menus through the site's frame; the first failing host
    // call's status (what was obtained stays until Stop).
    virtual HRESULT STDMETHODCALLTYPE Start() = 0;
    // Closes the dialogs, removes the menus and releases the host; E_FAIL
    // when no menus were installed. May run in any state.
    virtual HRESULT STDMETHODCALLTYPE Stop() = 0;
    // Makes the viewer's store and navigator on the first attach (and the
    // dialogs for a host with a window), then applies the default view.
    // E_FAIL without a site; the host's failure.
    virtual HRESULT STDMETHODCALLTYPE AttachViewer(DWORD viewerId) = 0;
    // The last detach destroys the store, the navigator and the dialogs.
    virtual HRESULT STDMETHODCALLTYPE DetachViewer(DWORD viewerId) = 0;
    // A pick the dialog asked for was made: the picked point, or the picked
    // part's centre, goes into the dialog. E_UNEXPECTED without the dialog,
    // E_FAIL without a site; the host's failure.
    virtual HRESULT STDMETHODCALLTYPE NotifyPicked() = 0;
};

ZUL_DECLARE_IID(IAdvancedViewsModuleMgr, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0109");
ZUL_DECLARE_IID(IViewDialogInteraction, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E010A");
ZUL_DECLARE_IID(IZulModule, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E010B");
inline constexpr IID IID_IAdvancedViewsModuleMgr = zul::com::iidOf<IAdvancedViewsModuleMgr>();
inline constexpr IID IID_IViewDialogInteraction = zul::com::iidOf<IViewDialogInteraction>();
inline constexpr IID IID_IZulModule = zul::com::iidOf<IZulModule>();

inline constexpr CLSID CLSID_AdvancedViewsModuleMgr =
    zul::com::makeGuid("8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0203");
