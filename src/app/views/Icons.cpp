#include "Icons.h"

#include <QHash>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

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
    };
    return names;
}

// A plain ring with the symbol's initial: never the theme's "missing" picture, and readable in both
// schemes because it is drawn in the text colour at paint time by QIcon's mode handling.
QIcon drawnFallback(const QString& symbolName) {
    QPixmap pixmap(64, 64);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QPen pen(QColor(0x80, 0x80, 0x86));
    pen.setWidthF(5);
    painter.setPen(pen);
    painter.drawEllipse(QRectF(6, 6, 52, 52));
    QFont font = painter.font();
    font.setPixelSize(30);
    font.setBold(true);
    painter.setFont(font);
    painter.drawText(QRectF(0, 0, 64, 64), Qt::AlignCenter, symbolName.left(1).toUpper());
    painter.end();
    return QIcon(pixmap);
}

} // namespace

namespace Icons {

QIcon symbol(const QString& symbolName) {
    const QStringList candidates = themeNames().value(symbolName);
    for (const QString& name : candidates) {
        if (QIcon::hasThemeIcon(name))
            return QIcon::fromTheme(name);
    }
    return drawnFallback(symbolName);
}

} // namespace Icons
