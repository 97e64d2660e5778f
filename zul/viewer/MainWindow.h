// zulview's main window: the 3D view of the scene, File > Open, a toolbar
// with the up-vector lock, fit and the module's align and rotate commands,
// the module's menus and dialogs, and its messages in the status bar.
#pragma once

#include <QMainWindow>
#include <QString>
#include <QStringList>

#include <vtkCallbackCommand.h>
#include <vtkGenericOpenGLRenderWindow.h>
#include <vtkSmartPointer.h>

#include "KRAdvancedViews/IAdvancedViewsModuleMgr.h"
#include "ViewerHost.h"
#include "zul/scene/Scene.h"

class QVTKOpenGLNativeWidget;
class vtkObject;

namespace zul::viewer {

// The OpenGL surface every zulview window uses; call before the
// QApplication is made.
void SetUpSurfaceFormat();

// The host command the module's command 7148 asks for; zulview fits the view.
inline constexpr DWORD kHostFitAllCommand = 6585;

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    MainWindow();
    ~MainWindow() override;

    // Loads the view module through the registry (or KRAV_MODULE), starts it
    // and attaches the 3D view. On failure the viewer goes on without it and
    // `error` says why (also shown in the status bar).
    bool StartModule(QString& error);
    void StopModule();
    // Replaces the scene by the models of `paths` (or the sample when empty);
    // false with `error` when one cannot be read (the others are shown).
    bool OpenModels(const QStringList& paths, QString& error);
    void ShowSample();
    // The view a session starts with: the module's +Isometric, the model fitted.
    void StartView();

    CViewerHost* host() const { return host_.Get(); }
    zul::scene::Scene& scene() { return scene_; }
    IZulModule* module() const { return module_.Get(); }
    vtkGenericOpenGLRenderWindow* renderWindow() const { return renderWindow_; }
    QWidget* view() const;

Q_SIGNALS:
    void firstFrame();

private:
    void _buildUi();
    void _openDialog();
    static void s_onInteraction(vtkObject* caller, unsigned long event, void* self, void* data);
    void _onInteraction(unsigned long event);

    QVTKOpenGLNativeWidget* vtk_ = nullptr;
    vtkSmartPointer<vtkGenericOpenGLRenderWindow> renderWindow_;
    vtkSmartPointer<vtkCallbackCommand> interaction_, press_;
    zul::scene::Scene scene_;
    zul::com::ComPtr<CViewerHost> host_;
    zul::com::ComPtr<IZulModule> module_;
    zul::com::ComPtr<IObjectWithSite> moduleSite_;
    bool firstFrameSeen_ = false;
};

} // namespace zul::viewer
