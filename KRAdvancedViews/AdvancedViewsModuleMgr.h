// CAdvancedViewsModuleMgr: the module inside its host. It installs the menus,
// takes the commands, creates a view store and a navigator for the attached
// viewer and wires them together, keeps the view menu in step with the store,
// and picks in the 3D view for the Standard Views dialog.
#pragma once

#include "zul/com/ObjectWithSite.h"

#include <map>
#include <string>
#include <vector>

#include "Dialogs.h"
#include "KRAdvancedViews/IAdvancedViewsModuleMgr.h"
#include "KRAdvancedViews/host/IHostModuleSite.h"
#include "KRAdvancedViews/host/IHostUIService.h"
#include "ViewNavigator.h"
#include "zul/com/ComPtr.h"
#include "zul/com/Object.h"

class CAdvancedViewsModuleMgr : public zul::com::ObjectRoot,
                                public IAdvancedViewsModuleMgr,
                                public IZulModule,
                                public IObjectWithSite,
                                public IViewManagerSink,
                                public IViewNavigatorSink,
                                public IViewDialogInteraction,
                                public IHostCommandHandler,
                                public IViewNavigatorOwner {
public:
    ZUL_BEGIN_INTERFACE_MAP(CAdvancedViewsModuleMgr)
    ZUL_INTERFACE_ENTRY(IAdvancedViewsModuleMgr)
    ZUL_INTERFACE_ENTRY(IZulModule)
    ZUL_INTERFACE_ENTRY(IObjectWithSite)
    ZUL_INTERFACE_ENTRY(IViewManagerSink)
    ZUL_INTERFACE_ENTRY(IViewNavigatorSink)
    ZUL_INTERFACE_ENTRY(IViewDialogInteraction)
    ZUL_INTERFACE_ENTRY(IHostCommandHandler)
    ZUL_INTERFACE_ENTRY(IViewNavigatorOwner)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    CAdvancedViewsModuleMgr();
    ~CAdvancedViewsModuleMgr() override;

    // IAdvancedViewsModuleMgr
    HRESULT STDMETHODCALLTYPE GetCurrentLum3DViewHandle(DWORD* pHandle) override;
    HRESULT STDMETHODCALLTYPE GetNumberViews(int* nViews) override;
    HRESULT STDMETHODCALLTYPE GetViewNames(char* pNames) override;
    HRESULT STDMETHODCALLTYPE SetAngleOfRotation(float angle) override;
    HRESULT STDMETHODCALLTYPE GetAngleOfRotation(float* pAngle) override;
    HRESULT STDMETHODCALLTYPE AlignToAxis(AxisEnum axis) override;
    HRESULT STDMETHODCALLTYPE RotateAroundAxis(AxisEnum axis) override;
    HRESULT STDMETHODCALLTYPE RotateAroundAxisByAngle(AxisEnum axis, float angle) override;
    HRESULT STDMETHODCALLTYPE AddView(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE ReplaceView(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE RenameView(const char* pOldName, const char* pNewName) override;
    HRESULT STDMETHODCALLTYPE DeleteView(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE ShowView(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE SaveViews(char* pFilePath, FileTypeEnum fileType) override;
    HRESULT STDMETHODCALLTYPE LoadViews(char* pFilePath, FileTypeEnum fileType) override;
    HRESULT STDMETHODCALLTYPE GetViewNamesExt(ULONG* pLen, char* pNames) override;
    HRESULT STDMETHODCALLTYPE SetDefaultView(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE GetDefaultView(ULONG* pLen, char* pViewName) override;
    HRESULT STDMETHODCALLTYPE ApplyDefaultView() override;
    HRESULT STDMETHODCALLTYPE UpdateLockedVec(int iLockedVec) override;
    // IZulModule
    HRESULT STDMETHODCALLTYPE SetMenuInstallMode(BOOL full) override;
    HRESULT STDMETHODCALLTYPE Start() override { return _start(); }
    HRESULT STDMETHODCALLTYPE Stop() override { return _stop(); }
    HRESULT STDMETHODCALLTYPE AttachViewer(DWORD viewerId) override;
    HRESULT STDMETHODCALLTYPE DetachViewer(DWORD viewerId) override;
    HRESULT STDMETHODCALLTYPE NotifyPicked() override;
    // IObjectWithSite: the host's IHostModuleSite.
    HRESULT STDMETHODCALLTYPE SetSite(IUnknown* pUnkSite) override;
    HRESULT STDMETHODCALLTYPE GetSite(REFIID riid, void** ppvSite) override;
    // IViewManagerSink
    HRESULT STDMETHODCALLTYPE NotifyViewCreated(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE NotifyViewPreDestroy(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE NotifyViewDestroyed(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE NotifyViewPreEdit(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE NotifyViewEdited(const char* pViewName) override;
    HRESULT STDMETHODCALLTYPE NotifyViewRenamed(const char* pOldViewName,
                                                const char* pNewViewName) override;
    HRESULT STDMETHODCALLTYPE NotifyBatchViewEditBegin() override;
    HRESULT STDMETHODCALLTYPE NotifyBatchViewEditEnd() override;
    // IViewNavigatorSink
    HRESULT STDMETHODCALLTYPE NotifyViewChanged(FullViewInfo viewInfo) override;
    HRESULT STDMETHODCALLTYPE NotifyViewPreDraw() override;
    // IViewDialogInteraction
    HRESULT STDMETHODCALLTYPE HandlePickForDialog(int bStart) override;
    // IHostCommandHandler
    HRESULT STDMETHODCALLTYPE OnCommand(UINT id) override;

    HRESULT _start();
    HRESULT _stop();
    HRESULT _getViewName(UINT id, std::string& name) const;
    HRESULT _getPartCenter(DWORD partId, float center[3]);

    // For tests: the view-menu table (slot = view index; slot 0 unused) and
    // the align-command enable flags.
    const std::vector<std::string>& viewMenu() const { return m_viewMenu; }
    const std::vector<int>& viewMenuEnabled() const { return m_viewMenuEnabled; }
    int alignEnabled(UINT id) const;
    const std::string& defaultViewName() const { return m_defaultViewName; }

private:
    HRESULT _bindNavigator(DWORD viewer);
    void _destroyObjects();
    void _fillViewMenu();
    void _rebuildViewMenu();
    void _putInMenu(const std::string& name, int index);
    void _createDialogs();
    void _closeDialogs();
    zul::com::ComPtr<IHostWindowService> _windowService() const;
    void _tellDialog(const char* event, const char* name, const char* newName = nullptr);
    HRESULT _noteStoredView(const char* name, const char* event);
    HRESULT _noteLeavingView(const char* name, const char* event, bool onlyIfSame);
    zul::com::ComPtr<IViewManager2> _store2() const;

    zul::com::ComPtr<IHostModuleSite> m_site;
    zul::com::ComPtr<IHostFrame> m_frame;
    zul::com::ComPtr<IHostMenuManager> m_menuManager;
    zul::com::ComPtr<IHostUIService> m_ui;
    zul::com::ComPtr<IHostCommandService> m_commandService;
    zul::com::ComPtr<IViewManager> m_store;
    zul::com::ComPtr<IViewNavigator> m_navigator;
    zul::com::ComPtr<IStandardViewsDialog> m_dialog;
    zul::com::ComPtr<IViewNavigatorDialog> m_navigatorDialog;
    BOOL m_menuInstallMode = FALSE;
    DWORD m_moduleId = 0, m_frameId = 0, m_menuHandle = 0;
    DWORD m_uiValue1 = 0, m_uiValue2 = 0; // passed through to the host unchanged
    DWORD m_attachedViewer = 0;
    int m_attachCount = 0;
    DWORD m_storeCookie = 0, m_navigatorCookie = 0;
    int m_lockedUpAxis = 0;
    std::map<UINT, int> m_alignEnabled;
    std::vector<std::string> m_viewMenu{std::string()};
    std::vector<int> m_viewMenuEnabled{0};
    int m_controlDialogShown = 0, m_editDialogShown = 0;
    int m_closeControlDialog = 0, m_closeEditDialog = 0;
    std::string m_defaultViewName;
    int m_suppressMenu = 0;
    DWORD m_savedPickMode = 0;
    bool m_pickModeSaved = false;
};
