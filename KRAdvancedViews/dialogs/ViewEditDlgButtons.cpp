// CViewEditDlg's buttons: the changes it makes to the store, each kept as
// a step of its undo history, and Undo and Redo themselves.
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <algorithm>

#include "ViewManager.h"
#include "dialogs/DialogSupport.h"
#include "dialogs/NameDialog.h"
#include "dialogs/ViewEditDlg.h"
#include "dialogs/ViewEdits.h"
#include "resources/StringTable.h"
#include "ui_ViewEditDlg.h"

namespace krav::dialogs {

// ---------------------------------------------------------------------------
// The buttons

int CViewEditDlg::_message(unsigned id, UINT type, const QString& argument) {
    QString text = ModuleText(id);
    if (!argument.isNull()) text.replace(QStringLiteral("%s"), argument);
    noMessageBox_ = 0;
    const int result = ShowMessage(hostUi_.Get(), this, text, type);
    noMessageBox_ = 1;
    return result;
}

void CViewEditDlg::_add() {
    if (!store_ || !navigator_) return;
    std::string name;
    if (!RequestViewName(this, store_.Get(), hostUi_.Get(), std::string(), name,
                         [this](bool open) { noMessageBox_ = !open; }))
        return;
    QListWidget* list = ui_->viewList;
    const int index =
        list->count() ? list->item(list->count() - 1)->data(Qt::UserRole).toInt() + 1 : -1;
    FullViewInfo record;
    if (!_takeOverPending() || navigator_->GetViewInfo(&record) != S_OK ||
        !_readFields(record, false))
        return;
    record.iViewIndex = index;
    HRESULT hr = E_FAIL;
    _recorded(tr("Add \"%1\"").arg(QString::fromStdString(name)),
              [&] { hr = store_->CreateViewInfo(name.c_str(), record); });
    if (FAILED(hr)) return;
    _loadFields(record, QString::fromStdString(name));
    if (list->count()) list->scrollToItem(list->item(list->count() - 1));
    _updateButtons();
}

void CViewEditDlg::_replace() {
    QListWidget* list = ui_->viewList;
    const int row = _selectedRow();
    if (!store_ || !navigator_ || row < 0 || list->item(row)->data(Qt::UserRole).toInt() < 0)
        return;
    const std::string name = list->item(row)->text().toStdString();
    FullViewInfo record;
    if (!_takeOverPending() || navigator_->GetViewInfo(&record) != S_OK ||
        !_readFields(record, false))
        return;
    record.iViewIndex = row + 1;
    KeepDefaultMark(record, name == defaultName_);
    HRESULT hr = E_FAIL;
    _recorded(tr("Replace \"%1\"").arg(QString::fromStdString(name)),
              [&] { hr = store_->EditViewInfo(name.c_str(), record); });
    if (FAILED(hr)) return;
    _loadFields(record, QString::fromStdString(name));
    for (int r = 0; r < list->count(); ++r)
        if (list->item(r)->text().toStdString() == name) list->scrollToItem(list->item(r));
    _updateButtons();
}

void CViewEditDlg::_rename() {
    const int row = _selectedRow();
    if (!store_ || row < 0) return;
    const std::string old = ui_->viewList->item(row)->text().toStdString();
    std::string name;
    if (!RequestViewName(this, store_.Get(), hostUi_.Get(), old, name,
                         [this](bool open) { noMessageBox_ = !open; }))
        return;
    _recorded(tr("Rename \"%1\"").arg(QString::fromStdString(old)),
              [&] { store_->RenameView(old.c_str(), name.c_str()); });
}

void CViewEditDlg::_delete() {
    QListWidget* list = ui_->viewList;
    if (!store_ || list->selectedItems().isEmpty()) return;
    if (_message(IDS_CONFIRM_DELETE, MB_YESNO | MB_ICONQUESTION) != kIdYes) return;
    std::vector<int> rows;
    for (QListWidgetItem* item : list->selectedItems())
        rows.push_back(list->row(item));
    std::sort(rows.begin(), rows.end());
    std::vector<std::string> names;
    for (int r : rows)
        names.push_back(list->item(r)->text().toStdString());
    _recorded(names.size() == 1 ? tr("Delete \"%1\"").arg(QString::fromStdString(names[0]))
                                : tr("Delete %1 views").arg(names.size()),
              [&] { DeleteClosingGaps(store_.Get(), names); });
    if (list->count()) {
        const int row = std::min(rows.front(), list->count() - 1);
        list->scrollToItem(list->item(row));
    }
    _updateButtons();
}

void CViewEditDlg::_move(int direction) {
    QListWidget* list = ui_->viewList;
    const int n = list->count(), k = _selectedRow();
    if (!store_ || k < 0) return;
    const bool possible = direction == 1 ? k < n - 1 : k >= 1;
    if (!possible) {
        list->scrollToItem(list->item(k));
        return;
    }
    const std::string name = list->item(k)->text().toStdString();
    _recorded(tr("Move \"%1\"").arg(QString::fromStdString(name)),
              [&] { MoveView(store_.Get(), name, direction); });
    for (int r = 0; r < list->count(); ++r) {
        if (list->item(r)->text().toStdString() != name) continue;
        list->clearSelection();
        list->setCurrentRow(r);
        list->item(r)->setSelected(true);
        list->scrollToItem(list->item(r));
        list->setFocus();
    }
    _updateButtons();
}

void CViewEditDlg::_setDefault() {
    QListWidget* list = ui_->viewList;
    const int k = _selectedRow();
    if (!store_ || k < 0) return;
    busy_ = true;
    FullViewInfo present;
    store_->GetDefaultView(&present);
    const std::string name = list->item(k)->text().toStdString();
    HRESULT hr = E_FAIL;
    _recorded(tr("Make \"%1\" the default").arg(QString::fromStdString(name)),
              [&] { hr = store_->SetDefaultView(name.c_str()); });
    if (SUCCEEDED(hr)) defaultName_.clear();
    busy_ = false;
    _rebuildList(); // refills the cached default name from the records
    if (k < list->count()) list->scrollToItem(list->item(k));
}

bool CViewEditDlg::_chooseFile(bool save, std::string& path) {
    const QString views = ModuleText(IDS_VIEW_FILES), regs = ModuleText(IDS_REG_FILES);
    const QByteArray filter = (views + " (*.qjv)|*.qjv|" + regs + " (*.reg)|*.reg||").toUtf8();
    zul::com::ComPtr<IHostFileDialog> files;
    if (hostUi_ &&
        SUCCEEDED(hostUi_->QueryInterface(zul::com::iidOf<IHostFileDialog>(),
                                          reinterpret_cast<void**>(files.GetAddressOf())))) {
        std::vector<char> buffer(4096, '\0');
        noMessageBox_ = 0;
        const HRESULT hr = files->ChooseFile(save, filter.constData(), ".qjv|.reg", buffer.data(),
                                             ULONG(buffer.size()));
        noMessageBox_ = 1;
        if (hr != S_OK) return false;
        path = buffer.data();
        return !path.empty();
    }
    const QString qtFilter = views + " (*.qjv);;" + regs + " (*.reg)";
    QString selectedFilter;
    noMessageBox_ = 0;
    QString chosen =
        save ? QFileDialog::getSaveFileName(this, QString(), QString(), qtFilter, &selectedFilter)
             : QFileDialog::getOpenFileName(this, QString(), QString(), qtFilter, &selectedFilter);
    noMessageBox_ = 1;
    if (chosen.isEmpty()) return false;
    if (save && QFileInfo(chosen).suffix().isEmpty())
        chosen += selectedFilter.contains(QStringLiteral("*.reg")) ? QStringLiteral(".reg")
                                                                   : QStringLiteral(".qjv");
    path = chosen.toStdString();
    return true;
}

void CViewEditDlg::_save() {
    std::string path;
    if (!store_ || !_chooseFile(true, path)) return;
    const QString suffix =
        QLatin1Char('.') + QFileInfo(QString::fromStdString(path)).suffix().toUpper();
    if (suffix != ".QJV" && suffix != ".REG") {
        _message(IDS_FILE_NOT_VALID, MB_ICONEXCLAMATION | MB_OK, QString::fromStdString(path));
        return;
    }
    store_->SaveViews(path.data(), suffix == ".QJV" ? TextFile : RegistryFile);
}

void CViewEditDlg::_load() {
    std::string path;
    if (!store_ || !_chooseFile(false, path)) return;
    const QString shown = QString::fromStdString(path);
    const QString suffix = QLatin1Char('.') + QFileInfo(shown).suffix().toUpper();
    if (suffix != ".QJV" && suffix != ".REG") {
        _message(IDS_FILE_NOT_VALID, MB_ICONEXCLAMATION | MB_OK, shown);
        return;
    }
    const FileTypeEnum type = suffix == ".QJV" ? TextFile : RegistryFile;
    if (type == RegistryFile && !CViewManager::_regFileMatchesPlatform(path.c_str()) &&
        QFileInfo(shown).isReadable()) {
        _message(IDS_FILE_FROM_WINDOWS, MB_ICONEXCLAMATION | MB_OK, shown);
        return;
    }
    // The store says itself why a load failed when it knows (a file that is
    // not a regular file, a full disk); the general message is for the rest.
    HRESULT hr = E_FAIL;
    _recorded(tr("Load %1").arg(QFileInfo(shown).fileName()),
              [&] { hr = store_->LoadViews(path.data(), type); });
    if (FAILED(hr)) {
        zul::com::ComPtr<IViewFileReport> report;
        if (FAILED(store_.As(report)) || !report->ToldUserOfLastFailure())
            _message(IDS_FILE_NOT_VALID, MB_ICONEXCLAMATION | MB_OK, shown);
    }
}

void CViewEditDlg::_apply() {
    if (applyCaptionState_ == 1) {
        QListWidgetItem* item = ui_->viewList->currentItem();
        if (item && store_) {
            const std::string name = item->text().toStdString();
            FullViewInfo info;
            if (SUCCEEDED(store_->ShowView(name.c_str())) &&
                store_->GetViewInfo(name.c_str(), &info) == S_OK)
                _loadFields(info, item->text());
        }
    } else if (navigator_) {
        if (s_fieldEdited) {
            if (!_takeOverPending()) return;
        } else {
            FullViewInfo record = fields_;
            navigator_->SetViewInfo(&record);
        }
    }
    if (navigator_) navigator_->RefreshView();
}

// ---------------------------------------------------------------------------
// Undo and redo

void CViewEditDlg::_recorded(const QString& what, const std::function<void()>& change) {
    ViewsSnapshot before = TakeSnapshot(store_.Get());
    recording_ = true;
    change();
    recording_ = false;
    undo_.Record(what.toStdString(), std::move(before), TakeSnapshot(store_.Get()));
    historyNote_->hide();
    _updateUndo();
}

void CViewEditDlg::_historyCleared() {
    undo_.Clear();
    historyNote_->setText(
        tr("The stored views were changed outside this dialog: what it did before can no "
           "longer be undone."));
    historyNote_->show();
    _updateUndo();
}

void CViewEditDlg::_updateUndo() {
    undoButton_->setEnabled(undo_.CanUndo());
    redoButton_->setEnabled(undo_.CanRedo());
    undoButton_->setToolTip(
        undo_.CanUndo() ? tr("Undo: %1 (Ctrl+Z)").arg(QString::fromStdString(undo_.UndoName()))
                        : tr("Nothing to undo"));
    redoButton_->setToolTip(
        undo_.CanRedo()
            ? tr("Redo: %1 (Ctrl+Shift+Z)").arg(QString::fromStdString(undo_.RedoName()))
            : tr("Nothing to redo"));
}

bool CViewEditDlg::Undo() {
    return _undoOrRedo(true);
}

bool CViewEditDlg::Redo() {
    return _undoOrRedo(false);
}

bool CViewEditDlg::_undoOrRedo(bool undo) {
    using Outcome = ViewUndoStack::Outcome;
    recording_ = true;
    const Outcome outcome = undo ? undo_.Undo(store_.Get()) : undo_.Redo(store_.Get());
    recording_ = false;
    if (outcome == Outcome::ChangedElsewhere) _historyCleared();
    _updateUndo();
    if (outcome == Outcome::Failed) {
        noMessageBox_ = 0;
        ShowMessage(hostUi_.Get(), this,
                    tr("The stored views could not be changed back: they are as they were."),
                    MB_ICONEXCLAMATION | MB_OK);
        noMessageBox_ = 1;
    }
    _rebuildList();
    _fieldsFollowSelection();
    return outcome == Outcome::Done;
}

} // namespace krav::dialogs
