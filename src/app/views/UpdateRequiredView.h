#pragma once

#include <QWidget>

#include <functional>

class QLabel;
class QPushButton;

// The notice that stands in the window's place while this build is below the site's minimum version.
// It can't be dismissed but through its buttons: download the update, go on anyway for this run, or quit.
class UpdateRequiredView : public QWidget {
    Q_OBJECT

public:
    UpdateRequiredView(const QString& message, const QString& downloadUrl, std::function<void()> onContinue,
                       std::function<void()> onQuit, QWidget* parent = nullptr);

    void setMessage(const QString& message);
    void setDownloadUrl(const QString& url);

    QPushButton* downloadButton() const { return m_download; }
    QPushButton* continueButton() const { return m_continue; }
    QPushButton* quitButton() const { return m_quit; }

protected:
    void changeEvent(QEvent* event) override;

private:
    void applyColours();
    void openDownload();

    QString m_downloadUrl;
    QWidget* m_page = nullptr;
    QLabel* m_icon = nullptr;
    QLabel* m_message = nullptr;
    QPushButton* m_download = nullptr;
    QPushButton* m_continue = nullptr;
    QPushButton* m_quit = nullptr;
};
