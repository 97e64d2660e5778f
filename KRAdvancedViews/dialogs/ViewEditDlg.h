// CViewEditDlg: the modeless "Standard Views" dialog (resource 209). The user
// manages the stored views in it: add the current camera, replace, rename,
// delete, reorder, mark the default, save and load view files, and edit an
// orientation, a position and a camera before applying them.
//
// Decisions:
// - Angles: the rotations about the fixed world X, Y and Z axes that turn the
//   plan view (from +Z, Y up) into the view; see ViewAngles.h.
// - Checks when the fields are taken over: the up vector must not be zero
//   (message 129) in "Look at:" mode; look-from must differ from look-at
//   (130) when both are given; the up vector must not be parallel (131) to
//   the view direction, which is look-at minus look-from when both are given,
//   else the direction of the record the fields were loaded from.
// - Taking over the fields applies them at once through the navigator's
//   SetViewInfo, so the camera follows each edit; "Apply view" applies the
//   taken-over fields again and refreshes the view.
// - Add and Replace store the current camera (which holds every taken-over
//   field); the radios, the check, the camera type and the field of view
//   decide the record's change bits, type and angle. The fields then show
//   the stored record.
// - Combo 275 remembers a pick kind for the up vector; no pick writes the up
//   vector (a direction is not a point), so it only keeps the layout's promise
//   of a kind beside each vector.
// - Close and Escape run command 7139 through the host's command service, the
//   command that showed the dialog, so the module's menu check mark and the
//   Rotate dialog's "Edit..." button stay in step; without the service the
//   dialog hides itself.
// - After a multiple delete, the views below the first removed row move up
//   into the freed positions one by one, in list order, by an edit of their
//   index, inside the same batch as the deletions: indices stay 1..n.
// - Pictures: with a host that draws them (IHostViewPictures), a
//   "Pictures" check beside the list shows each stored view as a small
//   picture of the current model seen from it (icon mode); the choice is
//   kept in the user's hive. The pictures are drawn one per turn of the
//   event loop after the list appears, so typing never waits for them, and
//   asked for again every second while shown (the host answers from its
//   cache unless a view or the model changed).
// - A single click on a row shows that view's orientation and position in
//   the fields, labelled as that view's; with no row selected they show the
//   live camera. A double click applies the view as before.
// - Undo and Redo (and Ctrl+Z / Ctrl+Shift+Z while the dialog has the
//   focus, outside a text field) go over a history the dialog keeps of the
//   changes it made, one step per button pressed (ViewUndo.h). A change of
//   the store made elsewhere (another program, the viewer's menus) clears
//   the history, and the dialog says so.
// - Move up and down exchange two neighbours by three renames through the
//   reserved placeholder name, then give each name its own record back, so
//   that a view's orientation and its default mark travel with its name.
#pragma once

#include <QDialog>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Dialogs.h"
#include "KRAdvancedViews/host/IHostViewPictures.h"
#include "dialogs/ViewUndo.h"
#include "zul/com/ComPtr.h"

class QCheckBox;
class QLabel;
class QPushButton;
class QListWidgetItem;
class QTimer;
class QLineEdit;

namespace Ui {
class ViewEditDlg;
}

namespace krav::dialogs {

class CViewEditDlg : public QDialog {
    Q_OBJECT
public:
    CViewEditDlg(const DialogContext& context, QWidget* parent);
    ~CViewEditDlg() override;

    // The store's events (see IStandardViewsDialog::OnViewEvent).
    void OnViewEvent(const char* event, const char* name, const char* newName);
    // The kind of the pick under way: true for a point, false for a part.
    bool IsPointPick() const;
    // Writes a picked point into the vector being picked and ends the pick.
    void SetPickedVector(const float v[3]);
    // 1 while button 32779 reads "Apply selected view", 0 for "Apply view".
    int ApplyCaptionState() const { return applyCaptionState_; }
    // The record the fields describe (after the last take-over).
    const FullViewInfo& FieldRecord() const { return fields_; }
    // Hides the dialog as Close does.
    void CloseDialog();
    // Undo and Redo, as their buttons do; false when there was nothing to
    // do or it could not be done (the dialog then says why).
    bool Undo();
    bool Redo();

protected:
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void reject() override;

private:
    enum Vector { AtVector = 0, UpVector = 1, FromVector = 2 };

    void _add();
    void _replace();
    void _rename();
    void _delete();
    void _move(int direction); // 1 down, 2 up
    void _setDefault();
    void _save();
    void _load();
    void _apply();
    void _listClicked(bool doubleClick);
    void _pick(Vector which);

    void _rebuildList(const char* renamedFrom = nullptr, const char* renamedTo = nullptr);
    void _updateButtons();
    void _setApplyCaption(int state);
    // Shows `info` in the fields: the stored view `viewName`, or the camera
    // when `viewName` is empty.
    void _loadFields(const FullViewInfo& info, const QString& viewName = QString());
    // The fields follow the selection: the one view selected, or the camera.
    void _fieldsFollowSelection();
    // Runs `change` (a change of the store) and keeps it as an undo step
    // named `what`.
    void _recorded(const QString& what, const std::function<void()>& change);
    // The history no longer matches the store: cleared, and said.
    void _historyCleared();
    void _updateUndo();
    bool _undoOrRedo(bool undo);
    // Reads and checks the fields into `record`: the orientation and position
    // too when `pose`, else only the choices (bits, camera type, field of
    // view). False after a message.
    bool _readFields(FullViewInfo& record, bool pose);
    // Takes over an edit whose field has not lost the focus yet.
    bool _takeOverPending();
    // Takes the fields over (and applies them); false after a message.
    bool _takeOverFields();
    void _updateEnabling();
    int _message(unsigned id, UINT type, const QString& argument = QString());
    bool _chooseFile(bool save, std::string& path);
    QLineEdit* _edit(int id) const;
    int _selectedRow() const;

    void _setPictureMode(bool on);
    // A picture tile: the picture and its name below it.
    QSize _tileSize() const;
    void _queuePictures();
    void _drawNextPicture();

    // Set by a change of any field, cleared when the field loses the focus;
    // one for the module, as only one field can have the focus.
    static bool s_fieldEdited;

    std::unique_ptr<Ui::ViewEditDlg> ui_;
    zul::com::ComPtr<IHostViewPictures> pictures_; // null: names only
    QCheckBox* picturesToggle_ = nullptr;
    QTimer* pictureRefresh_ = nullptr;
    std::vector<QString> pictureQueue_; // names of the items still to draw
    bool pictureTurnPending_ = false;
    zul::com::ComPtr<IViewManager2> store_;
    zul::com::ComPtr<IViewNavigator> navigator_;
    zul::com::ComPtr<IViewDialogInteraction> picking_;
    zul::com::ComPtr<IHostUIService> hostUi_;
    zul::com::ComPtr<IHostCommandService> commands_;
    std::string defaultName_;
    bool busy_ = false;
    int applyCaptionState_ = 0;
    int editState_ = 0;
    bool initialised_ = false;
    int noMessageBox_ = 1; // 0 while one of the dialog's message boxes is open
    bool inBatch_ = false, listDirty_ = false;
    int batchEvents_ = 0; // changes announced in the batch under way
    int pickKind_[3] = {0, 0, 0};
    int picking_vector_ = -1; // the vector a pick under way fills, or -1
    FullViewInfo fields_;
    QLabel* fieldsSource_ = nullptr; // whose orientation and position the fields show
    ViewUndoStack undo_;
    bool recording_ = false; // the dialog is changing the store itself
    QPushButton* undoButton_ = nullptr;
    QPushButton* redoButton_ = nullptr;
    QLabel* historyNote_ = nullptr;
};

} // namespace krav::dialogs
