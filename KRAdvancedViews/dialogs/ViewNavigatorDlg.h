// CViewNavigatorDlg: the modeless "Rotate" tool window (resource 208) that
// drives the navigator: a drop-down of the stored views, "Edit...", six
// alignment buttons, six rotation buttons and the rotation step.
//
// Decisions:
// - "Edit..." runs command 7139 through the host's command service: it shows
//   or hides the Standard Views dialog as the menu item does, and the button
//   stays pressed while that dialog is shown (SetViewEditButtonState).
// - Close and Escape run command 7133, the command that showed the window, so
//   the module's state follows; without the command service the window hides
//   itself.
// - Initialisation draws the nine image buttons from images/ (align-x/y/z,
//   rotate-cw/ccw/up/down/left/right) and fills the drop-down with the views
//   in list order, then shows the navigator's step.
// - The rotation buttons do not take the focus when clicked, so pressing one
//   never ends an edit of the step: the step edit is applied only when the
//   user leaves it, as typed text is read but not applied.
#pragma once

#include <QDialog>
#include <memory>

#include "Dialogs.h"
#include "zul/com/ComPtr.h"

namespace Ui {
class ViewNavigatorDlg;
}

namespace krav::dialogs {

class CViewNavigatorDlg : public QDialog {
    Q_OBJECT
public:
    CViewNavigatorDlg(const DialogContext& context, QWidget* parent);
    ~CViewNavigatorDlg() override;

    // Binds the store whose views fill the drop-down (null unbinds).
    void Setup(IViewManager* store);
    // Refills the drop-down from the store.
    void RefillViews();
    // 1: "Edit..." up, 0: down.
    void SetViewEditButtonState(int upOrDown);
    void CloseDialog();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void reject() override;

private:
    void _rotate(AxisEnum axis);
    void _align(AxisEnum axis);
    void _stepLeft();
    void _viewChosen(int index);

    std::unique_ptr<Ui::ViewNavigatorDlg> ui_;
    zul::com::ComPtr<IViewNavigator> navigator_;
    zul::com::ComPtr<IViewManager2> store_;
    zul::com::ComPtr<IHostUIService> hostUi_;
    zul::com::ComPtr<IHostCommandService> commands_;
};

} // namespace krav::dialogs
