#include "dialogs/ViewEditDlg.h"

#include <QCheckBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLabel>
#include <QSet>
#include <QShortcut>
#include <QTimer>
#include <algorithm>
#include <cmath>

#include "KRAdvancedViews/StoreLayout.h"
#include "ViewManager.h"
#include "dialogs/DialogSupport.h"
#include "dialogs/NameDialog.h"
#include "dialogs/ViewAngles.h"
#include "dialogs/ViewEdits.h"
#include "resources/StringTable.h"
#include "ui_ViewEditDlg.h"
#include "zul/registry/registry.h"

namespace krav::dialogs {
namespace {

constexpr int kFieldIds[] = {264, 265, 266, 268, 269, 270, 271, 272, 273, 277, 278, 279, 280};
constexpr int kVectorIds[3][3] = {{268, 269, 270}, {271, 272, 273}, {277, 278, 279}};
constexpr int kAngleIds[3] = {264, 265, 266};
constexpr int kCommandShowDialog = krav::ids::kEditDialog;

// Where the dialog keeps the user's choice of pictures or names.
constexpr const char* kDialogKey = "Software\\ZUL\\KRAdvancedViews Dialogs";
constexpr const char* kPicturesValue = "Standard Views Pictures";
constexpr int kPictureWidth = 96, kPictureHeight = 72;

bool s_picturesKept() {
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, kDialogKey, 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    DWORD value = 0, size = sizeof value, type = 0;
    const bool ok = RegQueryValueExA(key, kPicturesValue, nullptr, &type,
                                     reinterpret_cast<BYTE*>(&value), &size) == ERROR_SUCCESS &&
                    type == REG_DWORD;
    RegCloseKey(key);
    return ok && value != 0;
}

void s_keepPictures(bool on) {
    HKEY key = nullptr;
    if (RegCreateKeyExA(HKEY_CURRENT_USER, kDialogKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                        nullptr) != ERROR_SUCCESS)
        return;
    const DWORD value = on ? 1 : 0;
    RegSetValueExA(key, kPicturesValue, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                   sizeof value);
    RegCloseKey(key);
}

} // namespace

bool CViewEditDlg::s_fieldEdited = false;

CViewEditDlg::CViewEditDlg(const DialogContext& context, QWidget* parent)
    : QDialog(parent), ui_(std::make_unique<Ui::ViewEditDlg>()), navigator_(context.navigator),
      picking_(context.picking), hostUi_(context.ui), commands_(context.commands) {
    if (context.store)
        context.store->QueryInterface(zul::com::iidOf<IViewManager2>(),
                                      reinterpret_cast<void**>(store_.GetAddressOf()));
    ui_->setupUi(this);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    ui_->applyButton->setText(ModuleText(IDS_APPLY_VIEW));
    for (QPushButton* pick : {ui_->atPick, ui_->fromPick})
        pick->setText(ModuleText(IDS_PICK));
    for (QComboBox* kind : {ui_->atPickKind, ui_->upPickKind, ui_->fromPickKind})
        kind->addItems({ModuleText(IDS_POINT), ModuleText(IDS_PART)});
    ui_->upButton->setIcon(ButtonIcon(QStringLiteral("move-up"), palette()));
    ui_->downButton->setIcon(ButtonIcon(QStringLiteral("move-down"), palette()));
    // Wide enough for the longer of the two captions, so the button never jumps.
    const QFontMetrics metrics(ui_->applyButton->font());
    ui_->applyButton->setMinimumWidth(
        std::max(metrics.horizontalAdvance(ModuleText(IDS_APPLY_VIEW)),
                 metrics.horizontalAdvance(ModuleText(IDS_APPLY_SELECTED_VIEW))) +
        32);

    connect(ui_->addButton, &QPushButton::clicked, this, [this] { _add(); });
    connect(ui_->replaceButton, &QPushButton::clicked, this, [this] { _replace(); });
    connect(ui_->renameButton, &QPushButton::clicked, this, [this] { _rename(); });
    connect(ui_->deleteButton, &QPushButton::clicked, this, [this] { _delete(); });
    connect(ui_->upButton, &QToolButton::clicked, this, [this] { _move(2); });
    connect(ui_->downButton, &QToolButton::clicked, this, [this] { _move(1); });
    connect(ui_->defaultButton, &QPushButton::clicked, this, [this] { _setDefault(); });
    connect(ui_->saveButton, &QPushButton::clicked, this, [this] { _save(); });
    connect(ui_->loadButton, &QPushButton::clicked, this, [this] { _load(); });
    connect(ui_->applyButton, &QPushButton::clicked, this, [this] { _apply(); });
    connect(ui_->closeButton, &QPushButton::clicked, this, [this] { CloseDialog(); });
    if (hostUi_)
        hostUi_->QueryInterface(zul::com::iidOf<IHostViewPictures>(),
                                reinterpret_cast<void**>(pictures_.GetAddressOf()));
    if (pictures_) {
        picturesToggle_ = new QCheckBox(tr("Pictures"), this);
        picturesToggle_->setObjectName("picturesToggle");
        picturesToggle_->setToolTip(tr("Show each view as a picture of the model seen from it"));
        ui_->listRow->addWidget(picturesToggle_, 0, Qt::AlignTop);
        pictureRefresh_ = new QTimer(this);
        pictureRefresh_->setInterval(1000);
        connect(pictureRefresh_, &QTimer::timeout, this, [this] {
            if (isVisible()) _queuePictures();
        });
        const bool on = s_picturesKept();
        picturesToggle_->setChecked(on);
        connect(picturesToggle_, &QCheckBox::toggled, this, [this](bool checked) {
            s_keepPictures(checked);
            _setPictureMode(checked);
        });
        _setPictureMode(on);
    }
    connect(ui_->atPick, &QPushButton::clicked, this, [this] { _pick(AtVector); });
    connect(ui_->fromPick, &QPushButton::clicked, this, [this] { _pick(FromVector); });
    connect(ui_->viewList, &QListWidget::itemClicked, this, [this] { _listClicked(false); });
    connect(ui_->viewList, &QListWidget::itemDoubleClicked, this, [this] { _listClicked(true); });
    connect(ui_->viewList, &QListWidget::itemSelectionChanged, this, [this] {
        _updateButtons();
        _fieldsFollowSelection();
    });
    fieldsSource_ = new QLabel(this);
    fieldsSource_->setObjectName("fieldsSource");
    ui_->mainLayout->insertWidget(1, fieldsSource_);
    auto* undoRow = new QHBoxLayout;
    undoButton_ = new QPushButton(tr("Undo"), this);
    undoButton_->setObjectName("undoButton");
    redoButton_ = new QPushButton(tr("Redo"), this);
    redoButton_->setObjectName("redoButton");
    undoRow->addWidget(undoButton_);
    undoRow->addWidget(redoButton_);
    ui_->listButtons->addLayout(undoRow);
    historyNote_ = new QLabel(this);
    historyNote_->setObjectName("historyNote");
    historyNote_->setWordWrap(true);
    historyNote_->hide();
    ui_->mainLayout->insertWidget(2, historyNote_);
    connect(undoButton_, &QPushButton::clicked, this, [this] { Undo(); });
    connect(redoButton_, &QPushButton::clicked, this, [this] { Redo(); });
    // A text field keeps Ctrl+Z for its own text (Qt gives it the key first).
    for (const char* key : {"Ctrl+Z"})
        connect(new QShortcut(QKeySequence(QString::fromLatin1(key)), this), &QShortcut::activated,
                this, [this] { Undo(); });
    for (const char* key : {"Ctrl+Shift+Z", "Ctrl+Y"})
        connect(new QShortcut(QKeySequence(QString::fromLatin1(key)), this), &QShortcut::activated,
                this, [this] { Redo(); });
    for (QRadioButton* radio : {ui_->anglesRadio, ui_->lookAtRadio, ui_->autoSetRadio,
                                ui_->lookFromRadio, ui_->orthographicRadio, ui_->perspectiveRadio})
        connect(radio, &QRadioButton::clicked, this, [this] { _updateEnabling(); });
    connect(ui_->fieldOfViewCheck, &QCheckBox::clicked, this, [this] { _updateEnabling(); });
    const QComboBox* kinds[3] = {ui_->atPickKind, ui_->upPickKind, ui_->fromPickKind};
    for (int v = 0; v < 3; ++v)
        connect(kinds[v], qOverload<int>(&QComboBox::currentIndexChanged), this,
                [this, v](int index) { pickKind_[v] = std::max(index, 0); });
    for (int id : kFieldIds) {
        QLineEdit* edit = _edit(id);
        edit->installEventFilter(this);
        connect(edit, &QLineEdit::textEdited, this, [this] {
            if (initialised_) editState_ = 2;
            s_fieldEdited = true;
        });
    }
    ui_->anglesRadio->setChecked(true);
    ui_->autoSetRadio->setChecked(true);
    ui_->perspectiveRadio->setChecked(true);
    _rebuildList();
    FullViewInfo camera;
    if (navigator_ && navigator_->GetViewInfo(&camera) == S_OK)
        _loadFields(camera);
    else
        _loadFields(fields_);
    initialised_ = true;
    _updateButtons();
    _updateUndo();
}

CViewEditDlg::~CViewEditDlg() {
    if (picking_vector_ >= 0 && picking_) picking_->HandlePickForDialog(0);
}

QLineEdit* CViewEditDlg::_edit(int id) const {
    return FindControlAs<QLineEdit>(const_cast<CViewEditDlg*>(this), id);
}

void CViewEditDlg::showEvent(QShowEvent* event) {
    // A dialog shown again starts from where the camera is, unless the user
    // left edits in the fields.
    if (editState_ != 2) _fieldsFollowSelection();
    QDialog::showEvent(event);
    // The tiles are laid out once the list has its size.
    if (picturesToggle_ && picturesToggle_->isChecked())
        QTimer::singleShot(0, this, [this] { ui_->viewList->doItemsLayout(); });
}

bool CViewEditDlg::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FocusIn) {
        if (applyCaptionState_ == 1) _setApplyCaption(0);
    } else if (event->type() == QEvent::FocusOut && s_fieldEdited) {
        // Cleared first: a message box shown by the check takes the focus too.
        s_fieldEdited = false;
        _takeOverFields();
    }
    return QDialog::eventFilter(watched, event);
}

void CViewEditDlg::reject() {
    CloseDialog();
}

void CViewEditDlg::CloseDialog() {
    if (commands_ && isVisible() && SUCCEEDED(commands_->ExecuteCommand(kCommandShowDialog)) &&
        !isVisible())
        return;
    hide();
}

// ---------------------------------------------------------------------------
// The list

int CViewEditDlg::_selectedRow() const {
    QListWidget* list = ui_->viewList;
    if (list->currentItem() && list->currentItem()->isSelected()) return list->currentRow();
    const auto selected = list->selectedItems();
    return selected.isEmpty() ? -1 : list->row(selected.front());
}

void CViewEditDlg::_rebuildList(const char* renamedFrom, const char* renamedTo) {
    QListWidget* list = ui_->viewList;
    // The selection is kept by name, and follows a renamed view.
    auto follow = [&](const QString& name) {
        return renamedFrom && renamedTo && name == QString::fromUtf8(renamedFrom)
                   ? QString::fromUtf8(renamedTo)
                   : name;
    };
    QSet<QString> selected;
    for (QListWidgetItem* item : list->selectedItems())
        selected.insert(follow(item->text()));
    const QString current = list->currentItem() ? follow(list->currentItem()->text()) : QString();
    const QSignalBlocker blocker(list);
    list->clear();
    defaultName_.clear();
    for (const StoredView& view : ListStoredViews(store_.Get())) {
        auto* item = new QListWidgetItem(QString::fromStdString(view.name), list);
        if (picturesToggle_ && picturesToggle_->isChecked()) item->setSizeHint(_tileSize());
        item->setData(Qt::UserRole, view.info.iViewIndex - 1);
        if (view.info.iChangeBits & ViewChangeDefaultView) {
            defaultName_ = view.name;
            QFont font = item->font();
            font.setBold(true);
            item->setFont(font);
            item->setToolTip(tr("Default view"));
        }
        if (item->text() == current) list->setCurrentItem(item, QItemSelectionModel::NoUpdate);
        item->setSelected(selected.contains(item->text()));
    }
    listDirty_ = false;
    _updateButtons();
    _queuePictures();
}

QSize CViewEditDlg::_tileSize() const {
    return {kPictureWidth + 24, kPictureHeight + ui_->viewList->fontMetrics().height() + 16};
}

void CViewEditDlg::_setPictureMode(bool on) {
    QListWidget* list = ui_->viewList;
    if (on) {
        // Tiles of one size in rows that reflow with the list's width; a
        // name too long for its tile is cut short, never run into the next.
        list->setViewMode(QListView::IconMode);
        list->setIconSize(QSize(kPictureWidth, kPictureHeight));
        list->setFlow(QListView::LeftToRight);
        list->setWrapping(true);
        list->setResizeMode(QListView::Adjust);
        list->setMovement(QListView::Static);
        list->setWordWrap(false);
        list->setTextElideMode(Qt::ElideMiddle);
        list->setGridSize(_tileSize());
        // Every tile its full size from the start: a tile measured before
        // its picture arrived would be a name's height and cut it off.
        for (int row = 0; row < list->count(); ++row)
            list->item(row)->setSizeHint(_tileSize());
        list->setMinimumWidth(2 * (kPictureWidth + 24) + 30);
        pictureRefresh_->start();
        _queuePictures();
    } else {
        pictureRefresh_->stop();
        pictureQueue_.clear();
        list->setViewMode(QListView::ListMode);
        list->setGridSize(QSize());
        list->setWrapping(false);
        list->setMinimumWidth(200);
        for (int row = 0; row < list->count(); ++row) {
            list->item(row)->setIcon(QIcon());
            list->item(row)->setSizeHint(QSize());
        }
    }
}

void CViewEditDlg::_queuePictures() {
    if (!pictures_ || !picturesToggle_ || !picturesToggle_->isChecked()) return;
    pictureQueue_.clear();
    QListWidget* list = ui_->viewList;
    for (int row = list->count() - 1; row >= 0; --row) // drawn top first
        pictureQueue_.push_back(list->item(row)->text());
    if (!pictureTurnPending_) {
        pictureTurnPending_ = true;
        QTimer::singleShot(0, this, [this] { _drawNextPicture(); });
    }
}

void CViewEditDlg::_drawNextPicture() {
    pictureTurnPending_ = false;
    if (pictureQueue_.empty() || !store_ || !picturesToggle_->isChecked()) return;
    const QString name = pictureQueue_.back();
    pictureQueue_.pop_back();
    QListWidget* list = ui_->viewList;
    const auto found = list->findItems(name, Qt::MatchExactly);
    FullViewInfo info;
    if (!found.isEmpty() && store_->GetViewInfo(name.toUtf8().constData(), &info) == S_OK) {
        QImage picture(kPictureWidth, kPictureHeight, QImage::Format_RGB888);
        float direction[3];
        ViewDirectionOf(info, direction);
        const HRESULT hr = pictures_->DrawViewPicture(
            direction, info.pUpVector, info.cameraType == Perspective, info.viewAngle,
            kPictureWidth, kPictureHeight, picture.bits());
        // Qt pads a picture's lines to four bytes: 96 pixels of three bytes
        // need none, so the host's rows fill it as they are.
        static_assert(kPictureWidth * 3 % 4 == 0);
        if (hr == S_OK) found.front()->setIcon(QIcon(QPixmap::fromImage(picture)));
    }
    if (!pictureQueue_.empty()) {
        pictureTurnPending_ = true;
        QTimer::singleShot(0, this, [this] { _drawNextPicture(); });
    }
}

void CViewEditDlg::_updateButtons() {
    const int n = ui_->viewList->count();
    const int selected = ui_->viewList->selectedItems().size();
    const int k = _selectedRow();
    const bool store = bool(store_), both = store_ && navigator_;
    ui_->addButton->setEnabled(both);
    ui_->replaceButton->setEnabled(both && selected == 1);
    ui_->renameButton->setEnabled(store && selected == 1);
    ui_->deleteButton->setEnabled(store && selected >= 1);
    ui_->defaultButton->setEnabled(store && selected == 1);
    ui_->upButton->setEnabled(store && selected == 1 && k >= 1);
    ui_->downButton->setEnabled(store && selected == 1 && k >= 0 && k < n - 1);
    ui_->saveButton->setEnabled(store);
    ui_->loadButton->setEnabled(store);
}

void CViewEditDlg::_setApplyCaption(int state) {
    applyCaptionState_ = state;
    ui_->applyButton->setText(ModuleText(state == 1 ? IDS_APPLY_SELECTED_VIEW : IDS_APPLY_VIEW));
}

void CViewEditDlg::_listClicked(bool doubleClick) {
    if (applyCaptionState_ != 1) _setApplyCaption(1);
    QListWidgetItem* item = ui_->viewList->currentItem();
    if (doubleClick && item && item->isSelected() && store_) {
        const std::string name = item->text().toStdString();
        FullViewInfo info;
        if (SUCCEEDED(store_->ShowView(name.c_str())) &&
            store_->GetViewInfo(name.c_str(), &info) == S_OK)
            _loadFields(info, item->text());
    }
    _updateButtons();
}

void CViewEditDlg::OnViewEvent(const char* event, const char* name, const char* newName) {
    // Every event tells of a change of the store: one the dialog did not
    // make leaves its history behind.
    if (event && !recording_ && (undo_.CanUndo() || undo_.CanRedo())) _historyCleared();
    if (!noMessageBox_ || busy_ || !event) return;
    const std::string e = event;
    if (e == "BatchBegin") {
        inBatch_ = true;
        batchEvents_ = 0;
    } else if (e == "BatchEnd") {
        inBatch_ = false;
        // An empty batch is the store catching up with another program's
        // changes (or undoing a failed edit): anything may have changed.
        if (listDirty_ || batchEvents_ == 0) _rebuildList();
    } else if (e == "Created" || e == "Destroyed" || e == "Edited" || e == "Renamed") {
        ++batchEvents_;
        if (inBatch_)
            listDirty_ = true;
        else if (e == "Renamed")
            _rebuildList(name, newName);
        else
            _rebuildList();
    }
}

// ---------------------------------------------------------------------------
// The fields

void CViewEditDlg::_fieldsFollowSelection() {
    if (!initialised_) return;
    const auto selected = ui_->viewList->selectedItems();
    FullViewInfo info;
    if (selected.size() == 1 && store_ &&
        store_->GetViewInfo(selected.front()->text().toUtf8().constData(), &info) == S_OK)
        _loadFields(info, selected.front()->text());
    else if (selected.isEmpty() && navigator_ && navigator_->GetViewInfo(&info) == S_OK)
        _loadFields(info);
}

void CViewEditDlg::_loadFields(const FullViewInfo& info, const QString& viewName) {
    fields_ = info;
    fieldsSource_->setText(
        viewName.isEmpty()
            ? tr("Orientation and position of the camera")
            : tr("Orientation and position of the stored view \"%1\"").arg(viewName));
    const double view[3] = {info.pViewVector[0], info.pViewVector[1], info.pViewVector[2]};
    const double up[3] = {info.pUpVector[0], info.pUpVector[1], info.pUpVector[2]};
    double angles[3] = {0, 0, 0};
    VectorsToAngles(view, up, angles);
    for (int i = 0; i < 3; ++i) {
        _edit(kAngleIds[i])->setText(FormatG(angles[i]));
        _edit(kVectorIds[AtVector][i])->setText(FormatG(info.pAtVector[i]));
        _edit(kVectorIds[UpVector][i])->setText(FormatG(info.pUpVector[i]));
        _edit(kVectorIds[FromVector][i])->setText(FormatG(info.pFromVector[i]));
    }
    ui_->fieldOfView->setText(FormatG(info.viewAngle));
    const int bits = info.iChangeBits;
    ui_->lookAtRadio->setChecked((bits & ViewChangeAtPoint) && !(bits & ViewChangeViewVector));
    ui_->anglesRadio->setChecked(!ui_->lookAtRadio->isChecked());
    ui_->lookFromRadio->setChecked((bits & ViewChangeFromPoint) != 0);
    ui_->autoSetRadio->setChecked(!ui_->lookFromRadio->isChecked());
    ui_->fieldOfViewCheck->setChecked((bits & ViewChangeViewAngle) != 0);
    ui_->perspectiveRadio->setChecked(info.cameraType == Perspective);
    ui_->orthographicRadio->setChecked(info.cameraType != Perspective);
    editState_ = 0;
    _updateEnabling();
}

void CViewEditDlg::_updateEnabling() {
    const bool angles = ui_->anglesRadio->isChecked();
    for (int id : kAngleIds)
        _edit(id)->setEnabled(angles);
    for (int v : {AtVector, UpVector})
        for (int id : kVectorIds[v])
            _edit(id)->setEnabled(!angles);
    ui_->atPickKind->setEnabled(!angles);
    ui_->atPick->setEnabled(!angles && picking_);
    ui_->upPickKind->setEnabled(!angles);
    const bool from = ui_->lookFromRadio->isChecked();
    for (int id : kVectorIds[FromVector])
        _edit(id)->setEnabled(from);
    ui_->fromPickKind->setEnabled(from);
    ui_->fromPick->setEnabled(from && picking_);
    const bool perspective = ui_->perspectiveRadio->isChecked();
    ui_->fieldOfViewCheck->setEnabled(perspective);
    ui_->fieldOfView->setEnabled(perspective && ui_->fieldOfViewCheck->isChecked());
}

bool CViewEditDlg::_readFields(FullViewInfo& record, bool pose) {
    auto read = [this](int id, double& value) {
        bool whole = false;
        value = ParseNumber(_edit(id)->text(), &whole);
        if (whole && std::isfinite(value)) return true;
        _message(IDS_NON_NUMERIC, MB_ICONEXCLAMATION | MB_OK);
        _edit(id)->setFocus();
        return false;
    };
    auto readVector = [&](Vector v, double out[3]) {
        for (int i = 0; i < 3; ++i)
            if (!read(kVectorIds[v][i], out[i])) return false;
        return true;
    };
    RecordChoices choices;
    choices.angles = ui_->anglesRadio->isChecked();
    choices.lookFrom = ui_->lookFromRadio->isChecked();
    choices.perspective = ui_->perspectiveRadio->isChecked();
    choices.fieldOfView = choices.perspective && ui_->fieldOfViewCheck->isChecked();
    choices.angle = record.viewAngle;
    double a[3], at[3], up[3], eye[3];
    if (!pose) {
        if (choices.fieldOfView && !read(280, choices.angle)) return false;
        ApplyChoices(record, choices);
        return true;
    }
    if (choices.angles) {
        for (int i = 0; i < 3; ++i) {
            if (!read(kAngleIds[i], a[i])) return false;
            if (a[i] > 360.0 || a[i] < -360.0) {
                _message(IDS_ANGLE_RANGE, MB_ICONEXCLAMATION | MB_OK);
                return false;
            }
        }
    } else if (!readVector(AtVector, at) || !readVector(UpVector, up)) {
        return false;
    }
    if (choices.lookFrom && !readVector(FromVector, eye)) return false;
    if (choices.fieldOfView && !read(280, choices.angle)) return false;
    if (const unsigned wrong = AssemblePose(record, choices, a, at, up, eye, fields_.pViewVector)) {
        _message(wrong, MB_ICONEXCLAMATION | MB_OK);
        return false;
    }
    return true;
}

bool CViewEditDlg::_takeOverPending() {
    if (!s_fieldEdited) return true;
    s_fieldEdited = false;
    return _takeOverFields();
}

bool CViewEditDlg::_takeOverFields() {
    FullViewInfo record = fields_;
    if (!_readFields(record, true)) return false;
    fields_ = record;
    if (navigator_) navigator_->SetViewInfo(&record);
    fieldsSource_->setText(tr("Orientation and position of the camera"));
    return true;
}

// ---------------------------------------------------------------------------
// Picking

void CViewEditDlg::_pick(Vector which) {
    QPushButton* buttons[3] = {ui_->atPick, nullptr, ui_->fromPick};
    if (!picking_) return;
    const int running = picking_vector_;
    if (running >= 0) {
        picking_->HandlePickForDialog(0);
        buttons[running]->setText(ModuleText(IDS_PICK));
        picking_vector_ = -1;
        if (running == which) return;
    }
    if (FAILED(picking_->HandlePickForDialog(1))) return;
    picking_vector_ = which;
    buttons[which]->setText(ModuleText(IDS_STOP_PICK));
}

bool CViewEditDlg::IsPointPick() const {
    return picking_vector_ < 0 || pickKind_[picking_vector_] == 0;
}

void CViewEditDlg::SetPickedVector(const float v[3]) {
    const int which = picking_vector_;
    if (which < 0) return;
    for (int i = 0; i < 3; ++i)
        _edit(kVectorIds[which][i])->setText(FormatG(v[i]));
    editState_ = 2;
    _pick(Vector(which)); // one pick per press of the button
    _takeOverFields();
}

} // namespace krav::dialogs
