// The host services a module manager uses: its site, the frame, menus,
// windows, commands, the scene graph and picking. Every method returns S_OK
// or a failure status and writes its out-parameters only on success.
#pragma once

#include "zul/com/ObjectWithSite.h"

#include "zul/com/com.h"

// Keys for IHostModuleSite::GetModuleValue.
inline constexpr GUID KEY_HostModuleId = zul::com::makeGuid("8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0501");
inline constexpr GUID KEY_HostFrameId = zul::com::makeGuid("8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0502");

struct IHostCommandHandler;

// The host as one loaded module sees it.
struct IHostModuleSite : IUnknown {
    // A 32-bit value the host keeps for the module under `key`.
    virtual HRESULT STDMETHODCALLTYPE GetModuleValue(REFGUID key, DWORD* pValue) = 0;
    // The interface `riid` of the host object `id`: the frame (by frame id),
    // a viewer (by viewer id: IHostApplication, IHostSceneGraph,
    // IHostPickService) or a module object (by its cookie).
    virtual HRESULT STDMETHODCALLTYPE GetObject(DWORD id, REFIID riid, void** ppv) = 0;
    // Creates an object of this module's class `clsid` for the host to hold;
    // *pCookie names it for GetObject and the two calls below.
    virtual HRESULT STDMETHODCALLTYPE CreateModuleObject(REFCLSID clsid, DWORD* pCookie) = 0;
    // Ends the object's part in the host (always called before
    // DestroyModuleObject). E_INVALIDARG for an unknown cookie.
    virtual HRESULT STDMETHODCALLTYPE DeactivateModuleObject(DWORD cookie) = 0;
    // Releases the host's hold on the object; the cookie names nothing after.
    // E_INVALIDARG for an unknown cookie.
    virtual HRESULT STDMETHODCALLTYPE DestroyModuleObject(DWORD cookie) = 0;
    // The module's user interface (its menu) registered with the host; the
    // two values are passed through unchanged.
    virtual HRESULT STDMETHODCALLTYPE RegisterModuleUI(DWORD menuHandle, DWORD value1,
                                                       DWORD value2) = 0;
    // Undoes RegisterModuleUI, with the same values.
    virtual HRESULT STDMETHODCALLTYPE UnregisterModuleUI(DWORD menuHandle, DWORD value1,
                                                         DWORD value2) = 0;
};

// The host's main window; its services (IHostMenuManager, IHostUIService,
// IHostWindowService) are found by QueryInterface.
struct IHostFrame : IUnknown {
    // The native handle of the main window (0 for a host without windows).
    virtual HRESULT STDMETHODCALLTYPE GetWindowHandle(UINT_PTR* pHandle) = 0;
};

struct IHostMenuManager : IUnknown {
    // Installs menu resource `menuId` of module `moduleId`; its commands go to `handler`.
    virtual HRESULT STDMETHODCALLTYPE InstallMenuWithHandler(DWORD moduleId, UINT menuId,
                                                             IHostCommandHandler* handler) = 0;
    // Removes that menu; the handler hears of no more commands.
    virtual HRESULT STDMETHODCALLTYPE RemoveMenuWithHandler(DWORD moduleId, UINT menuId,
                                                            IHostCommandHandler* handler) = 0;
    // Installs menu resource `menuId` without a handler; *pMenuHandle names it.
    virtual HRESULT STDMETHODCALLTYPE InstallMenu(DWORD moduleId, DWORD* pMenuHandle,
                                                  UINT menuId) = 0;
    // Removes the menu InstallMenu installed.
    virtual HRESULT STDMETHODCALLTYPE RemoveMenu(DWORD moduleId, DWORD menuHandle, UINT menuId) = 0;
    // The view items of an installed menu: removes the items with ids in
    // [firstId, lastId], adds one item (text, id, enabled) at the end of the
    // submenu that holds command `anchorId`.
    virtual HRESULT STDMETHODCALLTYPE RemoveMenuItems(DWORD moduleId, UINT firstId,
                                                      UINT lastId) = 0;
    // E_INVALIDARG when no installed submenu holds `anchorId`.
    virtual HRESULT STDMETHODCALLTYPE AddMenuItem(DWORD moduleId, UINT anchorId, UINT commandId,
                                                  const char* text, BOOL enabled) = 0;
    // Shows menu resource `menuId` as a pop-up at the cursor with the ids in
    // `disabled` greyed; *pChosen is the command chosen, 0 for none.
    virtual HRESULT STDMETHODCALLTYPE TrackPopupMenu(DWORD moduleId, UINT menuId,
                                                     const UINT* disabled, UINT disabledCount,
                                                     UINT* pChosen) = 0;
};

// The host keeps the module's top-level windows (its dialogs) with its own:
// on top of the main window, closed with it.
struct IHostWindowService : IUnknown {
    // Takes the window (a native handle) in; the module still owns it.
    virtual HRESULT STDMETHODCALLTYPE AdoptWindow(UINT_PTR window) = 0;
    // Lets it go again, before the module destroys it.
    virtual HRESULT STDMETHODCALLTYPE ReleaseWindow(UINT_PTR window) = 0;
};

// Runs a command as the host's menus and toolbar would: a host command (the
// host's fit is KRAV_ID_HOST_FIT_ALL) or one of the module's own. E_FAIL for
// a command nothing handles.
struct IHostCommandService : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE ExecuteCommand(DWORD command) = 0;
};

// Implemented by the module: the host sends it the commands of its menus
// (ResourceIds.h). S_OK for an id it does not know (nothing done).
struct IHostCommandHandler : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE OnCommand(UINT id) = 0;
};

// The parts of a viewer's scene, by id (1-based; 0 is no part).
struct IHostSceneGraph : IUnknown {
    // The axis-aligned box of part `partId`, model units. E_POINTER for a
    // null array; E_INVALIDARG for an unknown part.
    virtual HRESULT STDMETHODCALLTYPE GetPartBoundingBox(DWORD partId, float minimum[3],
                                                         float maximum[3]) = 0;
};

// Picking in a viewer: between BeginPick and EndPick a click in the 3D view
// picks a point and a part (the module hears of it through
// IZulModule::NotifyPicked) instead of moving the camera.
struct IHostPickService : IUnknown {
    // Starts picking; what was picked before is forgotten.
    virtual HRESULT STDMETHODCALLTYPE BeginPick() = 0;
    // Ends picking; the last pick stays readable.
    virtual HRESULT STDMETHODCALLTYPE EndPick() = 0;
    // The host's pick mode, a value of its own the module saves and restores.
    // E_POINTER for null.
    virtual HRESULT STDMETHODCALLTYPE GetPickMode(DWORD* pMode) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPickMode(DWORD mode) = 0;
    // The world point of the last pick (model units). E_POINTER for null;
    // E_FAIL when nothing was picked.
    virtual HRESULT STDMETHODCALLTYPE GetPickedPoint(float point[3]) = 0;
    // The part of the last pick (IHostSceneGraph's id). E_POINTER for null;
    // E_FAIL when nothing was picked.
    virtual HRESULT STDMETHODCALLTYPE GetPickedPart(DWORD* pPartId) = 0;
};

ZUL_DECLARE_IID(IHostModuleSite, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0321");
ZUL_DECLARE_IID(IHostFrame, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0322");
ZUL_DECLARE_IID(IHostMenuManager, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0323");
ZUL_DECLARE_IID(IHostWindowService, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0324");
ZUL_DECLARE_IID(IHostCommandService, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0325");
ZUL_DECLARE_IID(IHostCommandHandler, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0326");
ZUL_DECLARE_IID(IHostSceneGraph, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0327");
ZUL_DECLARE_IID(IHostPickService, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0328");
