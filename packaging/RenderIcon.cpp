// Draws the application icon's SVG as a square PNG of one size, for icon themes that want pixels:
// render-icon SOURCE.svg SIZE OUTPUT.png
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <cstdio>

int main(int argc, char* argv[]) {
    // Fonts and the like need a platform, but never a display.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList arguments = QGuiApplication::arguments();
    bool sizeRead = false;
    const int size = arguments.value(2).toInt(&sizeRead);
    if (arguments.size() != 4 || !sizeRead || size <= 0) {
        std::fprintf(stderr, "usage: render-icon SOURCE.svg SIZE OUTPUT.png\n");
        return 2;
    }
    QSvgRenderer renderer(arguments.at(1));
    if (!renderer.isValid()) {
        std::fprintf(stderr, "render-icon: cannot read %s\n", qPrintable(arguments.at(1)));
        return 1;
    }
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter);
    painter.end();
    if (!image.save(arguments.at(3), "PNG")) {
        std::fprintf(stderr, "render-icon: cannot write %s\n", qPrintable(arguments.at(3)));
        return 1;
    }
    return 0;
}
