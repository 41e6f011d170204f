#pragma once

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

// What the simulator's fake uv recorded of each time it was run: one JSON object per run, oldest first.
// By default it writes to {home}/.norvane-sim/invocations.jsonl.
inline QList<QJsonObject> simulatorJournal(const QString& path) {
    QList<QJsonObject> entries;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return entries;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (!line.trimmed().isEmpty())
            entries.append(QJsonDocument::fromJson(line).object());
    }
    return entries;
}

inline QString defaultJournalPath(const QString& home) {
    return home + QStringLiteral("/.norvane-sim/invocations.jsonl");
}

// The arguments of one recorded run, without the program's name.
inline QStringList journalArguments(const QJsonObject& entry) {
    QStringList values;
    const QJsonArray array = entry.value(QStringLiteral("argv")).toArray();
    for (const QJsonValue& value : array)
        values.append(value.toString());
    return values;
}
