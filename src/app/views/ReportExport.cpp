#include "ReportExport.h"

#include "CaptureReport.h"

#include "core/AppState.h"
#include "screens/CaptureReportModel.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QStandardPaths>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

// A report that takes less than this is written without a progress dialog flashing up.
constexpr int progressDelayMs = 400;

} // namespace

const QString ReportExport::showInFolderText = u"Show in Folder"_s;

ReportExport* ReportExport::start(AppState& state, QWidget* parent) {
    return new ReportExport(state, parent);
}

ReportExport::ReportExport(AppState& state, QWidget* parent)
    : QObject(parent)
    , m_state(state)
    , m_parent(parent) {
    QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (folder.isEmpty() || !QDir(folder).exists())
        folder = QDir::homePath();
    const QString name = CaptureReportModel::suggestedFileName(state.captureLocation(), state.captureDate());
    m_dialog = new QFileDialog(parent, CaptureReportModel::exportText().chopped(1),
                               QDir(folder).filePath(name), u"PDF (*.pdf)"_s);
    m_dialog->setObjectName(u"reportSaveDialog"_s);
    m_dialog->setAcceptMode(QFileDialog::AcceptSave);
    m_dialog->setDefaultSuffix(u"pdf"_s);
    m_dialog->setAttribute(Qt::WA_DeleteOnClose);
    m_dialog->selectFile(name);
    connect(m_dialog, &QFileDialog::fileSelected, this, &ReportExport::write);
    connect(m_dialog, &QFileDialog::rejected, this, [this] {
        emit finished(QString(), u"cancelled"_s);
        deleteLater();
    });
    m_dialog->open();
}

void ReportExport::write(const QString& path) {
    QString error;
    bool cancelled = false;
    {
        CaptureReport report(m_state);
        QProgressDialog progress(u"Writing the report\u2026"_s, u"Cancel"_s, 0, 0, m_parent);
        progress.setWindowModality(Qt::WindowModal);
        progress.setMinimumDuration(progressDelayMs);
        progress.setAutoReset(false);
        const CaptureReport::Progress step = [&progress](int done, int total) {
            progress.setMaximum(total);
            progress.setValue(done);
            return !progress.wasCanceled();
        };
        if (const std::optional<QString> failed = report.writePdf(path, step))
            error = *failed;
        cancelled = progress.wasCanceled();
    }
    if (cancelled) {
        // The user stopped it and knows: no file, nothing more to say.
        emit finished(QString(), error);
        deleteLater();
        return;
    }

    m_notice = new QMessageBox(m_parent);
    m_notice->setObjectName(u"reportDoneNotice"_s);
    m_notice->setAttribute(Qt::WA_DeleteOnClose);
    if (error.isEmpty()) {
        m_notice->setIcon(QMessageBox::Information);
        m_notice->setText(u"Report saved"_s);
        m_notice->setInformativeText(QDir::toNativeSeparators(path));
        QPushButton* show = m_notice->addButton(showInFolderText, QMessageBox::ActionRole);
        m_notice->addButton(QMessageBox::Close);
        const QString folder = QFileInfo(path).absolutePath();
        connect(show, &QPushButton::clicked, this,
                [folder] { QDesktopServices::openUrl(QUrl::fromLocalFile(folder)); });
    } else {
        m_notice->setIcon(QMessageBox::Warning);
        m_notice->setText(u"The report could not be saved"_s);
        m_notice->setInformativeText(error);
        m_notice->addButton(QMessageBox::Close);
    }
    connect(m_notice, &QObject::destroyed, this, &QObject::deleteLater);
    m_notice->open();
    emit finished(path, error);
}
