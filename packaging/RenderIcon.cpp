// Renders the viewer's SVG icon to PNG files of the hicolor theme's sizes,
// at build time: render-icon ICON.svg FOLDER SIZE... writes
// FOLDER/SIZExSIZE/apps/zulview.png for each size.
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: render-icon ICON.svg FOLDER SIZE...\n");
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen"); // no display at build time
    QGuiApplication app(argc, argv);
    QSvgRenderer svg(QString::fromLocal8Bit(argv[1]));
    if (!svg.isValid()) {
        std::fprintf(stderr, "render-icon: %s is not an SVG picture that can be drawn\n", argv[1]);
        return 1;
    }
    for (int i = 3; i < argc; ++i) {
        const int size = std::atoi(argv[i]);
        if (size < 8 || size > 1024) {
            std::fprintf(stderr, "render-icon: %s is not a size from 8 to 1024\n", argv[i]);
            return 2;
        }
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        svg.render(&painter);
        painter.end();
        const QString folder =
            QString("%1/%2x%2/apps").arg(QString::fromLocal8Bit(argv[2])).arg(size);
        if (!QDir().mkpath(folder) || !image.save(folder + "/zulview.png")) {
            std::fprintf(stderr, "render-icon: cannot write %s\n", qPrintable(folder));
            return 1;
        }
    }
    return 0;
}
