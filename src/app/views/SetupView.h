#pragma once

#include "base/Clock.h"
#include "screens/SetupScreen.h"

#include <QWidget>

class AppState;
class QAbstractButton;
class QFrame;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;

// The setup screen: where the user names the place and the network, picks a timed or continuous run
// and starts a capture. Draws SetupScreen and forwards every action to it; the screen's model comes
// alive when the view is shown (appear) and lets go of its browser check when it is hidden.
//
// The suggestion lists follow the keyboard: Up and Down move through the rows while the field keeps
// the focus, Return takes the highlighted row (or, with none, leaves the field), Escape leaves it.
class SetupView : public QWidget {
    Q_OBJECT

public:
    explicit SetupView(AppState& state, QWidget* parent = nullptr);
    // With the model's neighbours replaced, for tests.
    SetupView(AppState& state, SetupScreen::Services services, QWidget* parent = nullptr);
    ~SetupView() override;

    SetupScreen& model() { return *m_model; }

    // The place at the top for the update notices; it takes no room while it holds no widget.
    QWidget* updateBannerSlot() const { return m_bannerSlot; }

signals:
    // "Test History" was pressed; the capture picker window answers it.
    void historyRequested();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void build();
    void applyColours();
    void refresh();
    void refreshSuggestions(QListWidget* list, bool shows, const QStringList& rows);
    void refreshFooter();
    void updateFooterTimer();
    bool handleFieldKey(QLineEdit* field, QListWidget* list, QKeyEvent* event);
    void chooseRow(QListWidget* list, const QString& text);

    SetupScreen* m_model = nullptr;
    AppState& m_state;

    QWidget* m_page = nullptr;
    QWidget* m_bannerSlot = nullptr;
    QFrame* m_enabledBanner = nullptr;
    QLabel* m_enabledBannerIcon = nullptr;
    QLineEdit* m_locationField = nullptr;
    QListWidget* m_locationList = nullptr;
    QLineEdit* m_networkField = nullptr;
    QListWidget* m_networkList = nullptr;
    QList<QAbstractButton*> m_modeButtons;
    QWidget* m_pillRow = nullptr;
    QList<QAbstractButton*> m_pills;
    QWidget* m_profileBlock = nullptr;
    QList<QAbstractButton*> m_profileButtons;
    QLabel* m_profileCaption = nullptr;
    QWidget* m_videoBlock = nullptr;
    QFrame* m_videoPanel = nullptr;
    QPushButton* m_enableButton = nullptr;
    QWidget* m_spinner = nullptr;
    QLabel* m_progressLine = nullptr;
    QLabel* m_errorLine = nullptr;
    QPushButton* m_startButton = nullptr;
    QLabel* m_startHint = nullptr;
    QWidget* m_footerSsid = nullptr;
    QLabel* m_footerSsidText = nullptr;
    QWidget* m_footerSignal = nullptr;
    QLabel* m_footerSignalText = nullptr;
    QWidget* m_footerRetry = nullptr;
    QLabel* m_footerRetryText = nullptr;
    QPushButton* m_historyButton = nullptr;

    Timer m_footerTimer;
};
