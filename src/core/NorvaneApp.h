#pragma once

#include <QObject>
#include <QStringList>

class FileLogger;

// The top of the program: what runs at launch and in which order.
class NorvaneApp : public QObject {
    Q_OBJECT
public:
    explicit NorvaneApp(FileLogger& log, QObject* parent = nullptr);

    // The three lines that open every run's log: version and system, the log file, the capture folder.
    QStringList launchLines() const;
    void writeLaunchLines();

private:
    FileLogger& m_log;
};
