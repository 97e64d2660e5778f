#include "dialogs/ViewNavigatorDlg.h"

#include <QEvent>
#include <cstdlib>
#include <vector>

#include "KRAdvancedViews/StoreLayout.h"
#include "dialogs/DialogSupport.h"
#include "resources/StringTable.h"
#include "ui_ViewNavigatorDlg.h"

namespace krav::dialogs {
namespace {
constexpr int kCommandShowRotate = krav::ids::kControlDialog,
              kCommandShowStandardViews = krav::ids::kEditDialog;
} // namespace

CViewNavigatorDlg::CViewNavigatorDlg(const DialogContext& context, QWidget* parent)
    : QDialog(parent, Qt::Tool), ui_(std::make_unique<Ui::ViewNavigatorDlg>()),
      navigator_(context.navigator), hostUi_(context.ui), commands_(context.commands) {
    ui_->setupUi(this);
    struct Button {
        QToolButton* button;
        const char* image; // null: a text button
        bool rotation;
        AxisEnum axis;
    };
    const std::vector<Button> buttons = {
        {ui_->alignX, "align-x", false, PositiveX},
        {ui_->alignY, "align-y", false, PositiveY},
        {ui_->alignZ, "align-z", false, PositiveZ},
        {ui_->alignNegX, nullptr, false, NegativeX},
        {ui_->alignNegY, nullptr, false, NegativeY},
        {ui_->alignNegZ, nullptr, false, NegativeZ},
        {ui_->rotateCw, "rotate-cw", true, PositiveZ},
        {ui_->rotateCcw, "rotate-ccw", true, NegativeZ},
        {ui_->rotateUp, "rotate-up", true, PositiveX},
        {ui_->rotateDown, "rotate-down", true, NegativeX},
        {ui_->rotateLeft, "rotate-left", true, PositiveY},
        {ui_->rotateRight, "rotate-right", true, NegativeY},
    };
    for (const Button& b : buttons) {
        if (b.image) {
            b.button->setIcon(ButtonIcon(QString::fromLatin1(b.image), palette()));
            b.button->setIconSize(QSize(24, 24));
            b.button->setToolButtonStyle(b.rotation ? Qt::ToolButtonIconOnly
                                                    : Qt::ToolButtonTextUnderIcon);
        }
        b.button->setFocusPolicy(Qt::TabFocus);
        b.button->setAutoRaise(false);
        b.button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        const AxisEnum axis = b.axis;
        if (b.rotation)
            connect(b.button, &QToolButton::clicked, this, [this, axis] { _rotate(axis); });
        else
            connect(b.button, &QToolButton::clicked, this, [this, axis] { _align(axis); });
    }
    connect(ui_->viewCombo, qOverload<int>(&QComboBox::activated), this,
            [this](int index) { _viewChosen(index); });
    connect(ui_->editButton, &QPushButton::clicked, this, [this] {
        const bool pressed = !ui_->editButton->isChecked(); // the state before this click
        ui_->editButton->setChecked(pressed);
        if (commands_) commands_->ExecuteCommand(kCommandShowStandardViews);
    });
    connect(ui_->closeButton, &QPushButton::clicked, this, [this] { CloseDialog(); });
    ui_->stepEdit->installEventFilter(this);
    float step = 90.0f;
    if (navigator_) navigator_->GetAngleOfRotation(&step);
    ui_->stepEdit->setText(FormatFixed2(step));
    setFixedSize(sizeHint());
}

CViewNavigatorDlg::~CViewNavigatorDlg() = default;

void CViewNavigatorDlg::Setup(IViewManager* store) {
    store_.Reset();
    if (store)
        store->QueryInterface(zul::com::iidOf<IViewManager2>(),
                              reinterpret_cast<void**>(store_.GetAddressOf()));
    RefillViews();
}

void CViewNavigatorDlg::RefillViews() {
    const QString current = ui_->viewCombo->currentText();
    const QSignalBlocker blocker(ui_->viewCombo);
    ui_->viewCombo->clear();
    for (const StoredView& view : ListStoredViews(store_.Get()))
        ui_->viewCombo->addItem(QString::fromStdString(view.name));
    ui_->viewCombo->setCurrentIndex(ui_->viewCombo->findText(current));
}

void CViewNavigatorDlg::SetViewEditButtonState(int upOrDown) {
    ui_->editButton->setChecked(upOrDown == 0);
}

void CViewNavigatorDlg::reject() {
    CloseDialog();
}

void CViewNavigatorDlg::CloseDialog() {
    if (commands_ && isVisible() && SUCCEEDED(commands_->ExecuteCommand(kCommandShowRotate)) &&
        !isVisible())
        return;
    hide();
}

bool CViewNavigatorDlg::eventFilter(QObject* watched, QEvent* event) {
    if (watched == ui_->stepEdit && event->type() == QEvent::FocusOut) _stepLeft();
    return QDialog::eventFilter(watched, event);
}

void CViewNavigatorDlg::_rotate(AxisEnum axis) {
    if (!navigator_) return;
    // The text is only checked here: the navigator rotates by its stored step.
    const QByteArray text = ui_->stepEdit->text().toUtf8();
    const char* p = text.constData();
    while (*p == ' ' || *p == '\t')
        ++p;
    char* end = nullptr;
    const double value = std::strtod(p, &end);
    while (*end == ' ' || *end == '\t')
        ++end;
    if ((value == 0.0 && *p != '0') || *end != '\0')
        ShowMessage(hostUi_.Get(), this, ModuleText(IDS_NON_NUMERIC), MB_ICONEXCLAMATION | MB_OK);
    navigator_->RotateAroundAxis(axis);
}

void CViewNavigatorDlg::_align(AxisEnum axis) {
    if (navigator_) navigator_->AlignToAxis(axis);
}

void CViewNavigatorDlg::_stepLeft() {
    if (!navigator_) return;
    const float v = float(std::atof(ui_->stepEdit->text().toUtf8().constData()));
    if (v >= -360.0f && v <= 360.0f) {
        navigator_->SetAngleOfRotation(v);
        return;
    }
    float step = 0.0f;
    navigator_->GetAngleOfRotation(&step);
    ShowMessage(hostUi_.Get(), this, ModuleText(IDS_ANGLE_RANGE), MB_ICONEXCLAMATION | MB_OK);
    ui_->stepEdit->setText(FormatFixed2(step));
}

void CViewNavigatorDlg::_viewChosen(int index) {
    if (!store_ || index < 0) return;
    const std::string name = ui_->viewCombo->itemText(index).toStdString();
    store_->ShowView(name.c_str());
}

} // namespace krav::dialogs
