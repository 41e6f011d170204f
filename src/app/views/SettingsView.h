#pragma once

#include "screens/SettingsScreen.h"

#include <QWidget>

#include <memory>

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;
class Settings;

namespace SettingsViewParts {
class ElidedLabel;
}

// The settings window: where captures are stored, whether they upload by themselves, and what network
// details an upload may carry, as three grouped forms. Each change is stored the moment it is made.
class SettingsView : public QWidget {
    Q_OBJECT
public:
    static constexpr int defaultWidth = 520;
    static constexpr int defaultHeight = 440;

    // A window of its own, over the user's settings file.
    explicit SettingsView(QWidget* parent = nullptr);
    ~SettingsView() override;

    SettingsScreen& screen() const { return *m_screen; }
    // "Change..." asks this for a folder; the desktop's folder dialog unless replaced (tests do).
    void setDirectoryChooser(SettingsScreen::DirectoryChooser chooser) { m_chooser = std::move(chooser); }

    // The folder as the row shows it, before any eliding to fit the window.
    QString directoryText() const;

protected:
    // The settings may have changed elsewhere since the window was last up.
    void showEvent(QShowEvent* event) override;
    // Escape closes the window: every change is already stored, so there is nothing to confirm.
    void keyPressEvent(QKeyEvent* event) override;

private:
    QWidget* buildDirectorySection();
    QWidget* buildUploadSection();
    QWidget* buildSupportSection();
    void refresh();

    std::unique_ptr<Settings> m_settings;
    SettingsScreen* m_screen = nullptr;
    SettingsScreen::DirectoryChooser m_chooser;

    SettingsViewParts::ElidedLabel* m_directory = nullptr;
    QLabel* m_customCaption = nullptr;
    QPushButton* m_changeButton = nullptr;
    QPushButton* m_resetButton = nullptr;
    QCheckBox* m_autoUpload = nullptr;
    QWidget* m_privacyRow = nullptr;
    QComboBox* m_privacy = nullptr;
    QLabel* m_privacyCaption = nullptr;
    QLabel* m_uploadFooter = nullptr;
};
