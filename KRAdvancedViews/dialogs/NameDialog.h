// CNameDialog: the modal "View Name" dialog (resource 227) in which the user
// types the name of a new view or the new name of one. It checks only the
// length; RequestViewName checks the answer against the view store.
//
// Decisions:
// - A name longer than kMaxNameLength characters (counted in Unicode code
//   points, as the user sees them) is refused when OK is pressed: the dialog
//   stays open, the field keeps the focus with its text selected and a tip
//   says why. Typing is not cut short, so a pasted name is never truncated
//   silently into a different one.
// - After the empty-name message the request counts as refused.
// - A name the .reg export cannot carry (a quote or a backslash) is allowed;
//   a line under the field says so while it is typed.
#pragma once

#include <QDialog>
#include <QLabel>
#include <functional>
#include <memory>
#include <string>

#include "KRAdvancedViews/IViewManager.h"
#include "KRAdvancedViews/host/IHostUIService.h"

namespace Ui {
class NameDialog;
}

namespace krav::dialogs {

class CNameDialog : public QDialog {
    Q_OBJECT
public:
    static constexpr int kMaxNameLength = 30;

    explicit CNameDialog(QWidget* parent);
    ~CNameDialog() override;

    void SetName(const QString& name);
    QString Name() const;

    void done(int result) override;

private:
    std::unique_ptr<Ui::NameDialog> ui_;
    QLabel* travelWarning_ = nullptr;
};

// The name request: shows the dialog modally with `initial`, then checks the
// answer. Returns true with `name` (UTF-8) when a new name was accepted;
// false when cancelled, empty (message 107), unchanged, or taken (message 106).
// `onMessage(true)` runs before a message box, `onMessage(false)` after it.
bool RequestViewName(QWidget* parent, IViewManager* store, IHostUIService* ui,
                     const std::string& initial, std::string& name,
                     const std::function<void(bool)>& onMessage = {});

} // namespace krav::dialogs
