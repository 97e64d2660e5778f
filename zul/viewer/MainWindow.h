// zulview's main window: the 3D view of the scene, File > Open, a toolbar
// with the up-vector lock, fit and the module's align and rotate commands,
// the module's menus and dialogs, and its messages in the status bar.
#pragma once

#include <QMainWindow>
#include <QString>
#include <QStringList>

#include <array>
#include <thread>
#include <vector>

#include <vtkCallbackCommand.h>
#include <vtkGenericOpenGLRenderWindow.h>
#include <vtkSmartPointer.h>

#include "KRAdvancedViews/IAdvancedViewsModuleMgr.h"
#include "KRAdvancedViews/ResourceIds.h"
#include "KRAdvancedViews/formats/ParaViewFiles.h"
#include "KRAdvancedViews/formats/ViewRecord.h"
#include "ModelLoader.h"
#include "ViewerHost.h"
#include "zul/scene/Scene.h"

class QCloseEvent;
class QDragEnterEvent;
class QDropEvent;
class QProgressBar;
class QTimer;
class QToolButton;
class QVTKOpenGLNativeWidget;
class vtkObject;

class QLabel;

namespace zul::viewer {

// The OpenGL surface every zulview window uses; call before the
// QApplication is made.
void SetUpSurfaceFormat();

struct KeyBinding;

// The host command the module's fit command asks for; zulview fits the view.
inline constexpr DWORD kHostFitAllCommand = krav::ids::kHostFitAll;

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
    // Reads on the calling thread.
    bool OpenModels(const QStringList& paths, QString& error);
    // Shows what ModelLoader::Read gave (read on any thread, say while the
    // window was being made), as OpenModels does.
    bool ShowModels(ModelLoader::Result& result, QString& error);
    // The same, reading on a thread of its own: the window stays responsive
    // and the status bar shows the progress; the scene is swapped in when
    // all are read, and modelsOpened() tells the outcome. A request while
    // a read is under way is refused (false, with a status message).
    bool OpenModelsInBackground(const QStringList& paths);
    bool Reading() const { return loader_ && loader_->Busy(); }
    // Stops the background read under way (Esc, or the status bar's Stop):
    // the scene and the stored views stay as they were. False when none is.
    bool StopReading();
    // The status bar's summary of the scene: parts, triangles, points.
    QString SceneSummary() const;
    void ShowSample();
    // The view a session starts with, also shown after a model is opened and
    // by Home: the stored default view (its direction and up) when there is
    // one, else the module's +Isometric; then the model is framed to fit.
    // Not `animated`: drawn at once, without a transition (a new model).
    void StartView(bool animated = true);
    // Applies the stored default view and frames the model; false when no
    // view is marked default (or the module is not loaded). A default view
    // the up-vector lock refuses is reported by the module and not framed.
    bool ApplyDefaultView();
    // Removes the default mark from the stored views.
    void ClearDefaultView();
    // Asks the view store whether another program changed the views; if
    // so it reads them anew and its menu and dialog follow (true). Done by
    // itself when the hive file changes; skipped while a modal window is
    // open or a mouse button is down.
    bool PollStore();

    // Camera history (Alt+Left / Alt+Right, the toolbar's arrows).
    bool GoBack();
    bool GoForward();
    // Perspective <-> orthographic for the current camera, the picture's
    // scale at the target kept (P, the toolbar's toggle).
    void ToggleProjection();
    // Applies the stored view of `index` in list order (0-based), as the
    // view menu does; false when there is none.
    bool ApplyStoredView(int index);
    // The previous (-1) or next (+1) stored view in list order from the
    // last one applied in this window (with none yet: the last or the
    // first), wrapping.
    bool StepStoredView(int delta);
    // The views that come with the models shown (MainWindowModelViews.cpp):
    // those saved beside each model file (MODEL.qjv), then the cameras the
    // files place, in the View menu's "Model Views". Their names, in order.
    QStringList ModelViewNames() const;
    // Applies view `index` (0-based) of that list as a stored view is
    // applied (with the transition, into the camera history); a camera as
    // its file places it, with the height an orthographic one shows. False
    // when there is none, the module is not loaded, or the up lock refuses.
    bool ApplyModelView(int index);
    // Adds the model view applied last to the stored views, under its name
    // made unique ("Camera 1 (2)"); false when none was applied. `stored`
    // gets the name.
    bool KeepModelViewAsStored(QString* stored = nullptr);
    // Writes every stored view beside the first model shown, to MODEL.qjv
    // (File > Save Views with Model...); false with `error`.
    bool SaveViewsWithModel(QString& error);
    // File > Import Views... (MainWindowViewFiles.cpp): the views of a view
    // file (.qjv, .reg through the module's Load; ParaView's .pvcc, named
    // after the file, and .pvcvbc) into the store, replacing views of the
    // same names, all or none. False with `error` (empty when the module
    // said why itself); true with `error` naming what was left out.
    bool ImportViews(const QString& path, QString& error);
    // File > Export Views...: every stored view to a .qjv, .reg or .pvcvbc
    // file, or the view `viewName` to a .pvcc file. Views holding a
    // direction only are written fitted to the model shown.
    bool ExportViews(const QString& path, const QString& viewName, QString& error);
    // View files given to the viewer (a .qjv opened from a file manager):
    // for each, asks whether to load its views into the stored views, as
    // the Standard Views dialog's Load would, and loads them if so.
    void OfferViewFiles(const QStringList& files);
    // How long a camera change takes on screen, in ms (0: at once); kept
    // in the user's hive.
    void SetTransitionMs(unsigned ms);
    unsigned TransitionMs() const { return transitionMs_; }
    // The view cube in the view's upper right corner.
    class ViewCube* viewCube() const {
        return cube_;
    }
    // Looks from `direction` (components -1, 0, 1; from the model towards
    // the eye), as the view cube's parts do: a face is the module's align
    // command looking the opposite way (the Right face, +X, is "-X"), the
    // front right top corner its +Isometric; other edges and corners keep
    // the target and distance, with Z up (or the locked up). False when
    // refused (the lock, no module).
    bool ViewFrom(const std::array<int, 3>& direction);
    // Turns the camera 90 degrees about its line of sight: the picture
    // clockwise (+1) or counterclockwise (-1). Refused with the lock's
    // message while the up is locked.
    bool RollView(int turn);
    // Does what a key of the key table asks (KeyBindings.h).
    void RunKey(const KeyBinding& binding);
    // The recent models, newest first.
    QStringList RecentModels() const { return recent_; }
    // Whether models shown are added to the recent models (not for the
    // pictures and timings of --screenshot and --first-frame).
    void SetKeepRecent(bool keep) { keepRecent_ = keep; }
    // The status bar's lasting text: the last model shown and what it holds.
    QString StatusSummary() const;

    CViewerHost* host() const { return host_.Get(); }
    zul::scene::Scene& scene() { return scene_; }
    IZulModule* module() const { return module_.Get(); }
    vtkGenericOpenGLRenderWindow* renderWindow() const { return renderWindow_; }
    QWidget* view() const;

Q_SIGNALS:
    void firstFrame();
    // A background read ended: `read` models shown, `error` for those not.
    void modelsOpened(int read, const QString& error);

private:
    void _buildUi();
    void _addViewMenuItems();
    void _openDialog();
    void _showModels(std::vector<zul::scene::Model>& models, const QStringList& read);
    void _readEnded(ModelLoader::Result& result);
    // Makes the coarse copies drawn while dragging on a thread of its own,
    // after the first picture of the models, and takes them in when done.
    void _makeCoarseCopiesLater();
    void _askPointSize();
    void _showShortcuts();
    void _showAbout();
    zul::com::ComPtr<IAdvancedViewsModuleMgr> _mgr() const;
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void _addKeys();
    // A key pressed in the 3D view; true when it is one of the view's.
    bool _viewKey(int key, Qt::KeyboardModifiers modifiers);
    void _rebuildRecent();
    void _viewMenuPictures();
    void _noteRecent(const QStringList& paths);
    // True (after message 141) when the up is locked along the direction
    // align command `id` looks in.
    bool _refusedByLock(UINT id);
    // Message 141: what the module says of a view the locked up refuses.
    void _sayLocked();
    std::vector<UINT> _storedViewCommands() const;
    static constexpr UINT kMaxStoredViewCommands = 4096;
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
    class ModelLoader* loader_ = nullptr;
    std::thread coarseJob_; // joined before the window goes
    bool coarsePending_ = false;
    // The model views of the models shown, and the model file they go with.
    // A module dialog shown for the first time goes beside the window.
    void _placeBeside(QDialog* dialog);
    // A key press for a widget of this window that is one of the key
    // table's: done, and true (MainWindowKeys.cpp).
    bool _windowKey(QObject* watched, QEvent* event);
    // Display > Move camera: the module's move steps (MainWindowKeys.cpp).
    void _addMoveSteps(QMenu* display);
    // A view file of File > Import Views... and Export Views...: the
    // module's own (.qjv, .reg) or ParaView's; false with `error` for
    // another kind of file, or when the module is not loaded.
    struct ViewFile {
        zul::com::ComPtr<IAdvancedViewsModuleMgr> mgr;
        zul::com::ComPtr<IViewManager2> store;
        std::string path;
        QString name;
        bool module = false;
        FileTypeEnum type = TextFile;
        krav::format::ParaViewFileKind kind = krav::format::ParaViewFileKind::None;
    };
    bool _viewFile(const QString& path, ViewFile& file, QString& error);
    // The file dialogs of File > Import Views... and Export Views...
    void _importViewsAsked();
    void _exportViewsAsked();
    void _takeModelViews(const std::vector<zul::scene::Model>& models, const QStringList& read,
                         QStringList& problems);
    void _rebuildModelViewsMenu();
    QString modelPath_;
    std::vector<krav::format::NamedRecord> savedViews_;
    std::vector<zul::scene::ModelCamera> modelCameras_;
    int lastModelView_ = -1;
    QMenu* modelViewsMenu_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QToolButton* stopRead_ = nullptr;
    QTimer* frames_ = nullptr; // drives transitions
    unsigned transitionMs_ = 0;
    class ViewCube* cube_ = nullptr;
    vtkSmartPointer<vtkCallbackCommand> drawn_; // a picture was drawn: the cube follows
    QAction* lock_ = nullptr;
    QAction* perspective_ = nullptr;
    QMenu* recentMenu_ = nullptr;
    QLabel* summary_ = nullptr;   // the status bar's summary of the scene
    QLabel* lockState_ = nullptr; // "Up locked to +Z" while the up is locked
    bool keepRecent_ = true;
    QStringList recent_;
    UINT lastStoredView_ = 0; // the command of the last stored view applied here
    QMenu* help_ = nullptr;
    class StoreWatcher* storeWatcher_ = nullptr;
    QAction* defaultView_ = nullptr;
    QAction* clearDefault_ = nullptr;
};

} // namespace zul::viewer
