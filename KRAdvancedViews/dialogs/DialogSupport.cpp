#include "dialogs/DialogSupport.h"

#include <QApplication>
#include <QFile>
#include <QMessageBox>
#include <QPainter>
#include <QSvgRenderer>
#include <QVariant>
#include <cstdio>
#include <cstdlib>

#include "resources/StringTable.h"

namespace krav::dialogs {

UINT_PTR HandleOf(QWidget* window) {
    return window ? static_cast<UINT_PTR>(window->winId()) : 0;
}

QWidget* WidgetFromHandle(UINT_PTR handle) {
    return handle ? QWidget::find(static_cast<WId>(handle)) : nullptr;
}

QWidget* FindControl(QWidget* root, int id) {
    if (!root) return nullptr;
    if (root->property("resourceId").toInt() == id && root->property("resourceId").isValid())
        return root;
    for (QWidget* w : root->findChildren<QWidget*>()) {
        const QVariant v = w->property("resourceId");
        if (v.isValid() && v.toInt() == id) return w;
    }
    return nullptr;
}

QString ModuleText(unsigned id) {
    return QString::fromUtf8(LoadModuleString(id));
}

int ShowMessage(IHostUIService* ui, QWidget* owner, const QString& text, UINT type) {
    const QByteArray utf8 = text.toUtf8();
    const QByteArray caption = owner ? owner->windowTitle().toUtf8() : QByteArray();
    if (ui) {
        int result = kIdOk;
        if (SUCCEEDED(ui->ShowMessage(utf8.constData(), caption.constData(), type, &result)))
            return result;
    }
    // Without a host service the dialog asks the user itself.
    QMessageBox box(owner);
    box.setWindowTitle(QString::fromUtf8(caption));
    box.setText(text);
    const UINT icon = type & 0xF0;
    box.setIcon(icon == MB_ICONSTOP          ? QMessageBox::Critical
                : icon == MB_ICONQUESTION    ? QMessageBox::Question
                : icon == MB_ICONEXCLAMATION ? QMessageBox::Warning
                : icon == MB_ICONINFORMATION ? QMessageBox::Information
                                             : QMessageBox::NoIcon);
    if ((type & 0xF) == MB_YESNO) {
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
        return box.exec() == QMessageBox::Yes ? kIdYes : kIdNo;
    }
    box.setStandardButtons(QMessageBox::Ok);
    box.exec();
    return kIdOk;
}

QIcon ButtonIcon(const QString& name, const QPalette& palette) {
    QFile file(QStringLiteral(":/krav/%1.svg").arg(name));
    if (!file.open(QIODevice::ReadOnly)) return {};
    QByteArray svg = file.readAll();
    svg.replace("currentColor", palette.color(QPalette::ButtonText).name().toLatin1());
    QSvgRenderer renderer(svg);
    QIcon icon;
    for (int scale : {1, 2}) {
        QPixmap pixmap(24 * scale, 24 * scale);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter);
        painter.end();
        pixmap.setDevicePixelRatio(scale);
        icon.addPixmap(pixmap);
    }
    return icon;
}

double ParseNumber(const QString& text, bool* whole) {
    const QByteArray bytes = text.toUtf8();
    const char* p = bytes.constData();
    while (*p == ' ' || *p == '\t')
        ++p;
    char* end = nullptr;
    const double value = std::strtod(p, &end);
    if (whole) {
        const char* q = end;
        while (*q == ' ' || *q == '\t')
            ++q;
        *whole = end != p && *q == '\0';
    }
    return value;
}

QString FormatG(double value) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%g", value);
    return QString::fromLatin1(buffer);
}

QString FormatFixed2(double value) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.2f", value);
    return QString::fromLatin1(buffer);
}

} // namespace krav::dialogs
