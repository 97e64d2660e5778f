// The dialogs on Qt Widgets, offered to the module manager as its factories.
#pragma once

#include "Dialogs.h"

namespace krav::dialogs {

// Sets the module manager's dialog factories to the Qt dialogs. They make a
// dialog only inside a QApplication and for a parent handle that names one
// of its windows; otherwise they fail and the module runs without dialogs.
void UseQtDialogs();

// Before the module unloads: takes its images out of Qt's resource list.
// The dialogs are gone by then (they close with the module's objects).
void ReleaseQtDialogs();

HRESULT CreateStandardViewsDialog(const DialogContext& context, IStandardViewsDialog** ppDialog);
HRESULT CreateNavigatorDialog(const DialogContext& context, IViewNavigatorDialog** ppDialog);

} // namespace krav::dialogs
