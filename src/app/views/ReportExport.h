#pragma once

#include <QFileDialog>
#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QString>

class AppState;

// "Export Report…" in the program: asks where the capture's report goes, suggesting "Norvane {location}
// {date}.pdf", writes it with a progress dialog that shows when the capture is long enough to keep one
// waiting, and then offers the folder in the desktop's file manager. It deletes itself when done.
class ReportExport : public QObject {
    Q_OBJECT
public:
    // Starts with the save dialog, window-modal over `parent`.
    static ReportExport* start(AppState& state, QWidget* parent);

    QFileDialog* saveDialog() const { return m_dialog; }
    // The notice after the report is written, or why it wasn't.
    QMessageBox* doneNotice() const { return m_notice; }

    static const QString showInFolderText; // "Show in Folder"

signals:
    // The report is written, or it failed or was cancelled (`error` then says why).
    void finished(const QString& path, const QString& error);

private:
    ReportExport(AppState& state, QWidget* parent);
    void write(const QString& path);

    AppState& m_state;
    QPointer<QWidget> m_parent;
    QPointer<QFileDialog> m_dialog;
    QPointer<QMessageBox> m_notice;
};
