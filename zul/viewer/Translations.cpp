#include "Translations.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#include <cstdlib>

// The catalogue is a resource of this static library: it is registered by
// hand, since nothing else in the library refers to it.
static void s_registerCatalogue() {
    Q_INIT_RESOURCE(zulview_translations);
}

namespace zul::viewer {

namespace {

// Looks a text up under its class name without the namespace: lupdate
// does not always see the C++17 namespaces the classes are declared in,
// so the catalogue keeps bare class names (scripts/update-translations).
class CBareContextTranslator : public QTranslator {
public:
    using QTranslator::QTranslator;
    QString translate(const char* context, const char* source, const char* disambiguation,
                      int n) const override {
        const char* bare = context;
        for (const char* p = context; p && *p; ++p)
            if (p[0] == ':' && p[1] == ':') bare = p + 2;
        return QTranslator::translate(bare, source, disambiguation, n);
    }
};

} // namespace

QString ViewerLanguage() {
    const char* dir = std::getenv("ZUL_RESPATH");
    if (!dir || !*dir) return QString();
    // The module adds no separator either.
    const QString german = QString::fromLocal8Bit(dir) + "KRAdvancedViews_res.so";
    return QFileInfo(german).isFile() ? QStringLiteral("de") : QString();
}

bool InstallTranslations(QCoreApplication& app, const QString& language) {
    if (language.isEmpty()) return false;
    s_registerCatalogue();
    auto* own = new CBareContextTranslator(&app);
    if (!own->load(":/translations/zulview_" + language + ".qm")) {
        delete own;
        return false;
    }
    app.installTranslator(own);
    QLocale::setDefault(QLocale(language)); // "6.436 Dreiecke"
    auto* qt = new QTranslator(&app);
    if (qt->load("qtbase_" + language, QLibraryInfo::location(QLibraryInfo::TranslationsPath)))
        app.installTranslator(qt);
    else
        delete qt;
    return true;
}

} // namespace zul::viewer
