// The module site of zulview: the headless host's services with a window.
// Menus the module installs become Qt menus in the main window's menu bar
// (their text from the module's resource lookup), commands go to the
// module's handler, messages are message boxes (and the status bar), and the
// viewer is the VTK scene viewer.
#pragma once

#include <QObject>
#include <QPointer>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "KRAdvancedViews/ResourceIds.h"
#include "KRAdvancedViews/host/IHostViewPictures.h"
#include "zul/runtime/HeadlessHost.h"
#include "zul/runtime/Library.h"
#include "zul/scene/SceneViewer.h"

class QMainWindow;
class QMenu;
class QAction;

namespace zul::viewer {

class CViewerHost : public runtime::CHeadlessHost,
                    public IHostCommandService,
                    public IHostViewPictures {
public:
    ZUL_BEGIN_INTERFACE_MAP(CViewerHost)
    ZUL_INTERFACE_ENTRY(IHostCommandService)
    ZUL_INTERFACE_ENTRY(IHostViewPictures)
    ZUL_INTERFACE_ENTRY_CHAIN(runtime::CHeadlessHost)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    // The popup of the module's menus the stored views are added to.
    static constexpr UINT kStoredViewsPopup = krav::ids::kStandardViewsPopup;

    CViewerHost();
    ~CViewerHost() override;

    QMainWindow* window = nullptr;                      // the frame; set before the module starts
    runtime::ZulGetModuleResourceFn resource = nullptr; // the module's menus
    std::function<void(const QString&)> status;         // shows a line in the status bar
    std::function<bool(DWORD)> hostCommand; // the host's own commands; true when handled
    std::function<int(const QString&)>
        answerMessage; // answers messages instead of a message box (tests)
    zul::com::ComPtr<scene::CSceneViewer> sceneViewer; // the same object as `viewer`

    // The action of command `id` in the installed menus, or null.
    QAction* action(UINT id) const;
    // The top-level menu installed from menu resource `menuId`, or null.
    QMenu* menu(UINT menuId) const;
    // An installed popup by its id (kStoredViewsPopup: the stored views), or null.
    QMenu* submenu(UINT popupId) const;
    // Runs command `id` as the menu would.
    HRESULT Run(UINT id);

    // IHostFrame
    HRESULT STDMETHODCALLTYPE GetWindowHandle(UINT_PTR* h) override;
    // IHostMenuManager
    HRESULT STDMETHODCALLTYPE InstallMenuWithHandler(DWORD moduleId, UINT menuId,
                                                     IHostCommandHandler* handler) override;
    HRESULT STDMETHODCALLTYPE RemoveMenuWithHandler(DWORD moduleId, UINT menuId,
                                                    IHostCommandHandler* handler) override;
    HRESULT STDMETHODCALLTYPE InstallMenu(DWORD moduleId, DWORD* handle, UINT menuId) override;
    HRESULT STDMETHODCALLTYPE RemoveMenu(DWORD moduleId, DWORD handle, UINT menuId) override;
    HRESULT STDMETHODCALLTYPE RemoveMenuItems(DWORD moduleId, UINT firstId, UINT lastId) override;
    HRESULT STDMETHODCALLTYPE AddMenuItem(DWORD moduleId, UINT anchorId, UINT commandId,
                                          const char* text, BOOL enabled) override;
    // IHostUIService
    HRESULT STDMETHODCALLTYPE ShowMessage(const char* text, const char* caption, UINT type,
                                          int* result) override;
    // IHostCommandService
    HRESULT STDMETHODCALLTYPE ExecuteCommand(DWORD command) override;
    // IHostViewPictures: drawn by the scene offscreen, kept per view and
    // model (the last kPictureCacheSize pictures).
    HRESULT STDMETHODCALLTYPE DrawViewPicture(const float direction[3], const float up[3],
                                              BOOL perspective, float viewAngle, UINT width,
                                              UINT height, BYTE* rgb) override;
    static constexpr size_t kPictureCacheSize = 1024;
    size_t picturesDrawn = 0; // not taken from the cache (tests, benchmarks)

private:
    HRESULT _install(UINT menuId, IHostCommandHandler* handler);
    void _remove(UINT menuId);

    std::map<UINT, QPointer<QMenu>> menus_;     // installed top-level menus by menu id
    std::map<UINT, QPointer<QMenu>> submenus_;  // popups by their id (7130: the stored views)
    std::map<UINT, QPointer<QAction>> actions_; // by command id
    std::vector<QPointer<QAction>> viewItems_;  // the stored views' items
    zul::com::ComPtr<IHostCommandHandler> handler_;
    std::map<std::string, std::vector<unsigned char>> pictures_;
    std::deque<std::string> pictureOrder_; // oldest first
};

} // namespace zul::viewer
