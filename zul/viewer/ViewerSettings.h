// What zulview keeps of a user's between runs, in the user's hive under the
// viewer's own key (HKEY_CURRENT_USER\Software\ZUL\Viewer): the transition
// duration, the recent models, the window's size and the dialogs' places.
// A value that cannot be read reads as its default; one that cannot be
// written is left as it was (a read-only hive does not stop the viewer).
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace zul::viewer {

inline constexpr const char* kViewerKey = "Software\\ZUL\\Viewer";
inline constexpr unsigned kDefaultTransitionMs = 250;
inline constexpr unsigned kMaxTransitionMs = 5000;
inline constexpr int kRecentModels = 10;

unsigned ReadTransitionMs();
void WriteTransitionMs(unsigned ms);

// Newest first, at most kRecentModels.
QStringList ReadRecentModels();
// Puts `paths` first (newest first), dropping repeats and the oldest.
QStringList AddRecentModels(const QStringList& paths);

// Qt's saved geometry of a window, by name ("" when none).
QByteArray ReadGeometry(const QString& name);
void WriteGeometry(const QString& name, const QByteArray& geometry);

} // namespace zul::viewer
