#include "dialogs/NameDialog.h"

#include <QLayout>
#include <QLineEdit>
#include <QPointer>
#include <QToolTip>
#include <algorithm>
#include <functional>

#include "KRAdvancedViews/formats/RegExport.h"
#include "dialogs/DialogSupport.h"
#include "resources/StringTable.h"
#include "ui_NameDialog.h"
#include "zul/com/ComPtr.h"

namespace krav::dialogs {

CNameDialog::CNameDialog(QWidget* parent)
    : QDialog(parent), ui_(std::make_unique<Ui::NameDialog>()) {
    ui_->setupUi(this);
    connect(ui_->okButton, &QPushButton::clicked, this, &QDialog::accept);
    connect(ui_->cancelButton, &QPushButton::clicked, this, &QDialog::reject);
    // A name the .reg export cannot carry is allowed (the store and .qjv
    // files keep it whole); a line under the field says so while it is typed.
    travelWarning_ = new QLabel(this);
    travelWarning_->setObjectName("travelWarning");
    travelWarning_->setWordWrap(true);
    travelWarning_->hide();
    ui_->nameLayout->insertWidget(1, travelWarning_);
    connect(ui_->nameEdit, &QLineEdit::textChanged, this, [this](const QString& text) {
        std::string why;
        const bool travels = krav::format::TravelsInRegExport(text.toStdString(), why);
        if (!travels)
            travelWarning_->setText(
                tr("This name cannot travel in a .reg file (%1); .qjv files keep it whole.")
                    .arg(QString::fromStdString(why)));
        travelWarning_->setVisible(!travels);
        // The wrapped line needs the height it takes at the dialog's width.
        layout()->activate();
        setFixedHeight(std::max(sizeHint().height(), layout()->totalHeightForWidth(width())));
    });
    setFixedHeight(sizeHint().height());
}

CNameDialog::~CNameDialog() = default;

void CNameDialog::SetName(const QString& name) {
    ui_->nameEdit->setText(name);
    ui_->nameEdit->selectAll();
}

QString CNameDialog::Name() const {
    return ui_->nameEdit->text();
}

void CNameDialog::done(int result) {
    if (result == QDialog::Accepted && Name().toUcs4().size() > kMaxNameLength) {
        ui_->nameEdit->setFocus();
        ui_->nameEdit->selectAll();
        QToolTip::showText(ui_->nameEdit->mapToGlobal(QPoint(0, ui_->nameEdit->height())),
                           tr("Enter no more than %1 characters.").arg(kMaxNameLength),
                           ui_->nameEdit);
        return;
    }
    QDialog::done(result);
}

bool RequestViewName(QWidget* parent, IViewManager* store, IHostUIService* ui,
                     const std::string& initial, std::string& name,
                     const std::function<void(bool)>& onMessage) {
    QPointer<CNameDialog> dialog = new CNameDialog(parent);
    dialog->SetName(QString::fromStdString(initial));
    const int result = dialog->exec();
    if (!dialog) return false; // the parent went away meanwhile
    const std::string answer = dialog->Name().toStdString();
    delete dialog;
    if (result != QDialog::Accepted) return false;
    auto message = [&](unsigned id) {
        if (onMessage) onMessage(true);
        ShowMessage(ui, parent, ModuleText(id), MB_ICONEXCLAMATION | MB_OK);
        if (onMessage) onMessage(false);
    };
    if (answer.empty()) {
        message(IDS_TYPE_VIEW_NAME);
        return false;
    }
    if (answer == initial) return false;
    zul::com::ComPtr<IViewManager2> store2;
    if (store)
        store->QueryInterface(zul::com::iidOf<IViewManager2>(),
                              reinterpret_cast<void**>(store2.GetAddressOf()));
    FullViewInfo existing;
    if (store2 && store2->GetViewInfo(answer.c_str(), &existing) == S_OK) {
        message(IDS_VIEW_EXISTS);
        return false;
    }
    name = answer;
    return true;
}

} // namespace krav::dialogs
