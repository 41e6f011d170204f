#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

#include <optional>

// The arguments of a verb that takes one file and an optional --json.
struct FileArguments {
    QString file;
    bool asJson = false;

    // Nothing when the arguments are wrong; the usage line has then gone to `err`.
    static std::optional<FileArguments> parse(const QStringList& arguments, const QString& usage,
                                              QTextStream& err) {
        FileArguments parsed;
        QStringList files;
        for (const QString& argument : arguments) {
            if (argument == QLatin1String("--json")) {
                parsed.asJson = true;
            } else if (argument.startsWith(QLatin1String("--"))) {
                err << "Unknown option " << argument << "\nUsage: " << usage << '\n';
                return std::nullopt;
            } else {
                files.append(argument);
            }
        }
        if (files.size() != 1) {
            err << "Usage: " << usage << '\n';
            return std::nullopt;
        }
        parsed.file = files.first();
        return parsed;
    }
};
