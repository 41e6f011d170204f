#include "LibraryVerb.h"

#include "base/Clock.h"
#include "capture/CaptureLibraryModel.h"
#include "subprocess/CaptureFolder.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

QJsonValue figure(const std::optional<double>& value) {
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

QJsonObject toJson(const CaptureSummary& capture) {
    const bool dated = capture.timestamp != CaptureLibrary::distantPast();
    return {
        {"id"_L1, capture.id.toString(QUuid::WithoutBraces)},
        {"csv_path"_L1, capture.csvPath},
        {"timestamp"_L1,
         dated ? QJsonValue(capture.timestamp.toString(Qt::ISODate)) : QJsonValue(QJsonValue::Null)},
        {"date_time_display"_L1, capture.dateTimeDisplay},
        {"location"_L1, capture.location},
        {"network"_L1, capture.network},
        {"duration_min"_L1, figure(capture.durationMin)},
        {"median_latency_ms"_L1, figure(capture.medianLatencyMs)},
        {"loss_pct"_L1, figure(capture.lossPct)},
        {"download_mbps"_L1, figure(capture.downloadMbps)},
        {"upload_mbps"_L1, figure(capture.uploadMbps)},
    };
}

bool leftAligned(CaptureColumn column) {
    return column == CaptureColumn::date || column == CaptureColumn::location ||
           column == CaptureColumn::network;
}

void printTable(const CaptureLibraryModel& model, QTextStream& out) {
    if (model.allCaptures().isEmpty()) {
        out << "No captures found\nRun a test first, or check the capture directory in Settings\n";
        return;
    }
    QList<QStringList> rows;
    QStringList header;
    for (int column = 0; column < captureColumnCount; ++column)
        header.append(CaptureLibrary::columnTitle(static_cast<CaptureColumn>(column)));
    rows.append(header);
    for (const CaptureSummary& capture : model.captures()) {
        QStringList row;
        for (int column = 0; column < captureColumnCount; ++column)
            row.append(CaptureLibrary::cellText(capture, static_cast<CaptureColumn>(column)));
        rows.append(row);
    }
    QList<qsizetype> widths(captureColumnCount, 0);
    for (const QStringList& row : std::as_const(rows)) {
        for (int column = 0; column < captureColumnCount; ++column)
            widths[column] = std::max(widths[column], row[column].size());
    }
    for (const QStringList& row : std::as_const(rows)) {
        QString line;
        for (int column = 0; column < captureColumnCount; ++column) {
            if (column > 0)
                line += u"  "_s;
            line += leftAligned(static_cast<CaptureColumn>(column))
                        ? row[column].leftJustified(widths[column])
                        : row[column].rightJustified(widths[column]);
        }
        while (line.endsWith(u' '))
            line.chop(1);
        out << line << '\n';
    }
    out << model.countText() << '\n';
}

int usage(QTextStream& err, const QString& problem) {
    err << "norvane-cli library: " << problem << "\n"
        << "Usage: norvane-cli library [DIR] [--json] [--filter TEXT] [--delete FILE]\n";
    return 2;
}

} // namespace

int runLibraryVerb(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    std::optional<QString> folder;
    std::optional<QString> filter;
    std::optional<QString> toDelete;
    bool json = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument == u"--json"_s) {
            json = true;
        } else if (argument == u"--filter"_s || argument == u"--delete"_s) {
            if (i + 1 >= arguments.size())
                return usage(err, argument + u" needs a value"_s);
            (argument == u"--filter"_s ? filter : toDelete) = arguments.at(++i);
        } else if (argument.startsWith(u"--filter="_s)) {
            filter = argument.mid(9);
        } else if (argument.startsWith(u"--delete="_s)) {
            toDelete = argument.mid(9);
        } else if (argument.startsWith(u'-') && argument != u"-"_s) {
            return usage(err, u"unknown option '"_s + argument + u'\'');
        } else if (folder) {
            return usage(err, u"only one folder can be listed"_s);
        } else {
            folder = argument;
        }
    }
    const QString dir = QFileInfo(folder.value_or(CaptureFolder::outputDirectory())).absoluteFilePath();

    // The same listing as the picker's, through the same cache.
    CaptureLibraryModel model(dir);
    model.setAllCaptures(CaptureLibrary::loadCaptureSummaries(dir, Time::clock().now()));

    if (toDelete) {
        const QString name = QFileInfo(*toDelete).fileName();
        std::optional<QUuid> id;
        for (const CaptureSummary& capture : model.allCaptures()) {
            if (QFileInfo(capture.csvPath).fileName() == name)
                id = capture.id;
        }
        if (!id) {
            err << "norvane-cli library: no capture named '" << name << "' in " << dir << '\n';
            return 1;
        }
        model.setSelected(id);
        model.deleteSelected();
        if (!json)
            out << "Deleted " << name << '\n';
    }
    if (filter)
        model.setFilterText(*filter);

    if (json) {
        QJsonArray list;
        for (const CaptureSummary& capture : model.captures())
            list.append(toJson(capture));
        out << QJsonDocument(list).toJson(QJsonDocument::Indented);
    } else {
        printTable(model, out);
    }
    return 0;
}
