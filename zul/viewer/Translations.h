// The viewer's language. The window speaks the language of the module's
// resource module, so that menus, dialogs and messages agree: German when
// the module takes its texts from the German resource module
// ($ZUL_RESPATH + "KRAdvancedViews_res.so" exists), English (the texts in
// the code) otherwise.
#pragma once

#include <QString>

class QCoreApplication;

namespace zul::viewer {

// "de", or empty for English.
QString ViewerLanguage();

// Installs the viewer's own translations (built in) and Qt's (its dialogs'
// buttons, from the system's Qt translations) for `language` into the
// application. False when `language` is English or the viewer has no
// translation for it; Qt's own missing is not a failure.
bool InstallTranslations(QCoreApplication& app, const QString& language = ViewerLanguage());

} // namespace zul::viewer
