// The module manager's public interface, its picking interface for the
// Standard Views dialog, and the interface a host drives the module through.
#pragma once

#include "zul/com/ObjectWithSite.h"

#include "KRAdvancedViews/IViewManager.h"

struct IAdvancedViewsModuleMgr : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetCurrentLum3DViewHandle(DWORD* pHandle) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNumberViews(int* nViews) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetViewNames(char* pNames) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetAngleOfRotation(float angle) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAngleOfRotation(float* pAngle) = 0;
    virtual HRESULT STDMETHODCALLTYPE AlignToAxis(AxisEnum axis) = 0;
    virtual HRESULT STDMETHODCALLTYPE RotateAroundAxis(AxisEnum axis) = 0;
    virtual HRESULT STDMETHODCALLTYPE RotateAroundAxisByAngle(AxisEnum axis, float angle) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddView(const char* pViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReplaceView(const char* pViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE RenameView(const char* pOldName, const char* pNewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteView(const char* pViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE ShowView(const char* pViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE SaveViews(char* pFilePath, FileTypeEnum fileType) = 0;
    virtual HRESULT STDMETHODCALLTYPE LoadViews(char* pFilePath, FileTypeEnum fileType) = 0;
    // *pLen: the capacity of pNames in bytes on entry, the size needed (the
    // ";"-joined names and a terminator) on return, always.
    virtual HRESULT STDMETHODCALLTYPE GetViewNamesExt(ULONG* pLen, char* pNames) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDefaultView(const char* pViewName) = 0;
    // The default view's name, with the capacity rules of GetViewNamesExt.
    virtual HRESULT STDMETHODCALLTYPE GetDefaultView(ULONG* pLen, char* pViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE ApplyDefaultView() = 0;
    virtual HRESULT STDMETHODCALLTYPE UpdateLockedVec(int iLockedVec) = 0;
};

// Picking in the 3D view on behalf of the Standard Views dialog.
struct IViewDialogInteraction : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE HandlePickForDialog(int bStart) = 0;
};

// How a host drives the module: it sets the module's site (IObjectWithSite,
// answering IHostModuleSite), starts it, attaches and detaches its viewers
// (attach and detach nest), tells it of picks, and stops it.
struct IZulModule : IUnknown {
    // Full "&View" menu (205) with the module's command handler when set;
    // the short menu (234) otherwise (the default). Read by Start.
    virtual HRESULT STDMETHODCALLTYPE SetMenuInstallMode(BOOL full) = 0;
    virtual HRESULT STDMETHODCALLTYPE Start() = 0;
    virtual HRESULT STDMETHODCALLTYPE Stop() = 0;
    virtual HRESULT STDMETHODCALLTYPE AttachViewer(DWORD viewerId) = 0;
    virtual HRESULT STDMETHODCALLTYPE DetachViewer(DWORD viewerId) = 0;
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
