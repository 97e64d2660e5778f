// What the three dialogs share: window handles, controls by resource id,
// texts from the module's string table, message boxes through the host,
// button images, and number parsing with the C library's rules.
#pragma once

#include <QIcon>
#include <QString>
#include <QWidget>
#include <string>

#include "KRAdvancedViews/host/IHostUIService.h"

namespace krav::dialogs {

// A window handle across the module's interfaces is the native id of a
// top-level widget (QWidget::winId), as a window handle is on other systems.
UINT_PTR HandleOf(QWidget* window);
QWidget* WidgetFromHandle(UINT_PTR handle);

// The control of `root` whose "resourceId" property is `id` (the id of the
// control in the dialog resource), or null. The dialog itself counts.
QWidget* FindControl(QWidget* root, int id);
template <class T> T* FindControlAs(QWidget* root, int id) {
    return qobject_cast<T*>(FindControl(root, id));
}

// The module's string `id` (UTF-8 in the table).
QString ModuleText(unsigned id);

// Shows `text` through the host's message service (`ui`), or in a message box
// of the toolkit when there is none. Returns the button chosen (IDOK 1, IDYES 6, IDNO 7).
int ShowMessage(IHostUIService* ui, QWidget* owner, const QString& text, UINT type);
inline constexpr int kIdOk = 1, kIdYes = 6, kIdNo = 7;

// The image `name` (images/<name>.svg) drawn in the palette's text colour,
// sharp at 1x and 2x device pixels.
QIcon ButtonIcon(const QString& name, const QPalette& palette);

// The C library's reading of a number: leading blanks and tabs skipped, then
// strtod. `whole` is false when anything other than blanks and tabs follows
// the number or no number was read.
double ParseNumber(const QString& text, bool* whole = nullptr);

// "%g" and "%.2f" as the C library formats them.
QString FormatG(double value);
QString FormatFixed2(double value);

} // namespace krav::dialogs
