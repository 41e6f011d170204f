#include "Icons.h"

#include <QEvent>
#include <QFile>
#include <QGuiApplication>
#include <QHash>
#include <QIconEngine>
#include <QImage>
#include <QLabel>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

// Symbol name → freedesktop icon names, best match first.
const QHash<QString, QStringList>& themeNames() {
    static const QHash<QString, QStringList> names = {
        {u"stethoscope"_s, {u"system-search"_s, u"dialog-information"_s}},
        {u"wifi"_s, {u"network-wireless"_s, u"network-wireless-signal-excellent"_s}},
        {u"wifi.slash"_s, {u"network-wireless-offline"_s, u"network-offline"_s}},
        {u"wifi.exclamationmark"_s, {u"network-wireless-no-route"_s, u"network-error"_s}},
        {u"lock.shield"_s, {u"security-medium"_s, u"channel-secure"_s}},
        {u"safari"_s, {u"internet-web-browser"_s, u"web-browser"_s}},
        {u"arrow.down.circle"_s, {u"download"_s, u"go-down"_s}},
        {u"chart.bar"_s, {u"office-chart-bar"_s, u"view-statistics"_s}},
        {u"stop.fill"_s, {u"media-playback-stop"_s}},
        {u"play.fill"_s, {u"media-playback-start"_s}},
        {u"speedometer"_s, {u"utilities-system-monitor"_s}},
        {u"play.rectangle"_s, {u"video-x-generic"_s, u"media-playback-start"_s}},
        {u"doc.on.doc"_s, {u"edit-copy"_s}},
        {u"clock.arrow.circlepath"_s, {u"document-open-recent"_s, u"view-history"_s}},
        {u"gearshape"_s, {u"preferences-system"_s, u"configure"_s}},
        {u"exclamationmark.triangle"_s, {u"dialog-warning"_s}},
        {u"exclamationmark.triangle.fill"_s, {u"dialog-warning"_s}},
        {u"checkmark.circle.fill"_s, {u"emblem-ok"_s, u"dialog-ok"_s}},
        {u"xmark.circle.fill"_s, {u"dialog-error"_s, u"process-stop"_s}},
        {u"circle"_s, {u"media-record"_s}},
        {u"info.circle"_s, {u"dialog-information"_s, u"help-about"_s}},
        {u"square.and.arrow.up"_s, {u"document-send"_s, u"emblem-shared"_s}},
        {u"plus"_s, {u"list-add"_s}},
        {u"folder"_s, {u"folder"_s}},
        {u"trash"_s, {u"edit-delete"_s, u"user-trash"_s}},
        {u"arrow.clockwise"_s, {u"view-refresh"_s}},
        {u"note.text"_s, {u"accessories-text-editor"_s, u"text-x-generic"_s}},
        {u"lightbulb"_s, {u"help-hint"_s, u"dialog-information"_s}},
        {u"magnifyingglass"_s, {u"edit-find"_s, u"system-search"_s}},
        {u"bubble.left"_s, {u"mail-message"_s, u"user-available"_s}},
        {u"sparkles"_s, {u"starred"_s, u"emblem-favorite"_s}},
        {u"questionmark.circle"_s, {u"help-about"_s, u"dialog-question"_s}},
        {u"waveform.path.ecg"_s, {u"utilities-system-monitor"_s, u"network-transmit-receive"_s}},
        {u"arrow.2.circlepath"_s, {u"view-refresh"_s, u"system-reboot"_s}},
        {u"arrow.triangle.2.circlepath"_s, {u"system-software-update"_s, u"view-refresh"_s}},
        {u"play.rectangle.fill"_s, {u"video-x-generic"_s, u"media-playback-start"_s}},
        {u"checkmark"_s, {u"object-select"_s, u"emblem-ok"_s}},
        {u"antenna.radiowaves.left.and.right"_s, {u"network-wireless"_s, u"network-transmit-receive"_s}},
        {u"point.3.connected.trianglepath.dotted"_s, {u"network-workgroup"_s, u"network-wired"_s}},
        {u"network"_s, {u"network-workgroup"_s, u"network-wired"_s}},
        {u"arrow.clockwise.icloud"_s, {u"view-refresh"_s, u"folder-sync"_s}},
        {u"checkmark.icloud"_s, {u"emblem-ok"_s, u"folder-cloud"_s}},
        {u"exclamationmark.icloud"_s, {u"dialog-warning"_s, u"folder-cloud"_s}},
        {u"icloud.slash"_s, {u"network-offline"_s, u"folder-cloud"_s}},
        {u"doc.text.magnifyingglass"_s, {u"edit-find"_s, u"system-search"_s}},
        {u"chart.line.downtrend.xyaxis"_s, {u"office-chart-line"_s, u"view-statistics"_s}},
        {u"checkmark.seal.fill"_s, {u"emblem-ok"_s, u"dialog-ok"_s}},
        {u"calendar"_s, {u"x-office-calendar"_s, u"appointment-new"_s}},
        {u"clock"_s, {u"appointment-soon"_s, u"document-open-recent"_s}},
        {u"number"_s, {u"format-list-numbered"_s}},
        {u"lock"_s, {u"security-high"_s, u"changes-prevent"_s}},
        {u"tag"_s, {u"tag"_s, u"bookmark-new"_s}},
        {u"xmark.circle"_s, {u"edit-clear"_s, u"window-close"_s}},
        {u"xmark.shield"_s, {u"security-low"_s, u"dialog-error"_s}},
    };
    return names;
}

// Shown for a symbol name that has no drawing of its own: a dashed square reads as "an icon belongs
// here" instead of looking like a broken picture.
constexpr char genericDrawing[] =
    R"(<svg xmlns="http://www.w3.org/2000/svg" width="24" height="24" viewBox="0 0 24 24">
  <rect x="4" y="4" width="16" height="16" rx="3" fill="none" stroke="#000" stroke-width="1.75"
        stroke-dasharray="3 3" stroke-linecap="round"/>
</svg>)";

QString drawingPath(const QString& symbolName) {
    return u":/norvane/icons/"_s % symbolName % u".svg"_s;
}

// How much of a rendered pixel is ink. Our drawings are black ink with white holes, so the ink is the
// pixel's coverage minus its lightness; a theme icon's own colours don't matter, only its shape.
enum class Ink { DarkOnLight, Coverage };

// Every pixel of the image in the colour, as opaque as it is inked: CompositionMode_SourceIn, but with
// white parts of the drawing left transparent.
void colourIn(QImage& image, const QColor& colour, Ink ink) {
    const QRgb tint = colour.rgba();
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = line[x]; // premultiplied: a channel never exceeds the alpha
            const int alpha = qAlpha(pixel);
            const int amount = ink == Ink::Coverage ? alpha : std::max(0, alpha - qGray(pixel));
            line[x] = qPremultiply(qRgba(qRed(tint), qGreen(tint), qBlue(tint), amount * qAlpha(tint) / 255));
        }
    }
}

// Paints a shape in one colour at any size and device pixel ratio: the application palette's text
// colour at the moment of drawing, or a fixed tint.
class SymbolIconEngine final : public QIconEngine {
public:
    // Our drawing, from SVG source.
    SymbolIconEngine(QString cacheName, QByteArray svg, std::optional<QColor> tint)
        : m_cacheName(std::move(cacheName))
        , m_svg(std::move(svg))
        , m_tint(tint) {}
    // A theme icon reduced to its shape.
    SymbolIconEngine(QString cacheName, QIcon source, QColor tint)
        : m_cacheName(std::move(cacheName))
        , m_source(std::move(source))
        , m_tint(tint) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override {
        const qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        QPixmap image = scaledPixmap((QSizeF(rect.size()) * ratio).toSize(), mode, state, ratio);
        painter->drawPixmap(rect, image);
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return scaledPixmap(size, mode, state, 1.0);
    }

    // QIcon asks in device pixels, with the screen's ratio alongside.
    QPixmap scaledPixmap(const QSize& pixels, QIcon::Mode mode, QIcon::State, qreal scale) override {
        if (pixels.isEmpty())
            return {};
        const QColor colour = colourFor(mode);
        const QString key = u"norvane-symbol:"_s % m_cacheName % u':' % QString::number(pixels.width()) %
                            u'x' % QString::number(pixels.height()) % u':' %
                            QString::number(colour.rgba(), 16);
        QPixmap result;
        if (!QPixmapCache::find(key, &result)) {
            result = QPixmap::fromImage(render(pixels, colour));
            QPixmapCache::insert(key, result);
        }
        result.setDevicePixelRatio(scale);
        return result;
    }

    QSize actualSize(const QSize& size, QIcon::Mode, QIcon::State) override { return size; }
    QIconEngine* clone() const override { return new SymbolIconEngine(*this); }
    QString key() const override { return u"NorvaneSymbol"_s; }
    QString iconName() override { return m_cacheName; }
    bool isNull() override { return false; }

private:
    QColor colourFor(QIcon::Mode mode) const {
        const QPalette palette = QGuiApplication::palette();
        if (m_tint) {
            if (mode != QIcon::Disabled)
                return *m_tint;
            QColor faded = *m_tint;
            faded.setAlphaF(faded.alphaF() * 0.4f);
            return faded;
        }
        switch (mode) {
        case QIcon::Disabled:
            return palette.color(QPalette::Disabled, QPalette::WindowText);
        case QIcon::Selected:
            return palette.color(QPalette::Active, QPalette::HighlightedText);
        case QIcon::Normal:
        case QIcon::Active:
            break;
        }
        return palette.color(QPalette::Active, QPalette::WindowText);
    }

    QImage render(const QSize& pixels, const QColor& colour) const {
        QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        if (!m_svg.isEmpty()) {
            QSvgRenderer renderer(m_svg);
            QPainter painter(&image);
            painter.setRenderHint(QPainter::Antialiasing);
            // Square drawings stay square in a wide or tall request, centred.
            const int side = std::min(pixels.width(), pixels.height());
            renderer.render(
                &painter, QRectF((pixels.width() - side) / 2.0, (pixels.height() - side) / 2.0, side, side));
            painter.end();
            colourIn(image, colour, Ink::DarkOnLight);
        } else {
            QPainter painter(&image);
            m_source.paint(&painter, QRect(QPoint(0, 0), pixels));
            painter.end();
            colourIn(image, colour, Ink::Coverage);
        }
        return image;
    }

    QString m_cacheName;
    QByteArray m_svg;
    QIcon m_source;
    std::optional<QColor> m_tint;
};

QByteArray drawingSource(const QString& symbolName) {
    QFile file(drawingPath(symbolName));
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray(genericDrawing);
    return file.readAll();
}

QIcon drawingIcon(const QString& symbolName, std::optional<QColor> tint) {
    const QString cacheName = QFile::exists(drawingPath(symbolName)) ? symbolName : u"?generic"_s;
    return QIcon(new SymbolIconEngine(cacheName, drawingSource(symbolName), tint));
}

QIcon themeIcon(const QString& symbolName) {
    const QStringList candidates = themeNames().value(symbolName);
    for (const QString& name : candidates) {
        if (QIcon::hasThemeIcon(name))
            return QIcon::fromTheme(name);
    }
    return {};
}

} // namespace

namespace Icons {

QIcon symbol(const QString& symbolName) {
    const QIcon theme = themeIcon(symbolName);
    return theme.isNull() ? drawingIcon(symbolName, std::nullopt) : theme;
}

QIcon symbol(const QString& symbolName, const QColor& tint) {
    const QIcon theme = themeIcon(symbolName);
    if (theme.isNull())
        return drawingIcon(symbolName, tint);
    return QIcon(new SymbolIconEngine(u"theme:"_s % symbolName, theme, tint));
}

QIcon drawing(const QString& symbolName) {
    return drawingIcon(symbolName, std::nullopt);
}

bool hasDrawing(const QString& symbolName) {
    return QFile::exists(drawingPath(symbolName));
}

namespace {

// Draws a label's symbol again whenever its palette changes; one per label, owned by it.
class SymbolFollower : public QObject {
public:
    SymbolFollower(QLabel* label, QString symbol, int side, std::optional<QColor> tint)
        : QObject(label)
        , m_symbol(std::move(symbol))
        , m_side(side)
        , m_tint(tint) {
        label->installEventFilter(this);
    }

    void set(QString symbol, int side, std::optional<QColor> tint) {
        m_symbol = std::move(symbol);
        m_side = side;
        m_tint = tint;
    }

    void draw(QLabel* label) const {
        QPixmap pixmap = (m_tint ? Icons::symbol(m_symbol, *m_tint) : Icons::symbol(m_symbol))
                             .pixmap(QSize(m_side, m_side), label->devicePixelRatioF());
        label->setPixmap(pixmap);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ApplicationPaletteChange)
            draw(static_cast<QLabel*>(watched));
        return false;
    }

private:
    QString m_symbol;
    int m_side = 0;
    std::optional<QColor> m_tint;
};

} // namespace

void showOn(QLabel* label, const QString& symbolName, int side, std::optional<QColor> tint) {
    auto* follower = label->findChild<SymbolFollower*>(QString(), Qt::FindDirectChildrenOnly);
    if (follower)
        follower->set(symbolName, side, tint);
    else
        follower = new SymbolFollower(label, symbolName, side, tint);
    follower->draw(label);
}

} // namespace Icons
