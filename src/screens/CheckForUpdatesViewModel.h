#pragma once

#include <QObject>
#include <QPointer>

class Updater;

// The menu's "Check for Updates…": enabled while the updater can start a check, which it can't while
// one runs or while there is no updater yet. Main thread only.
class CheckForUpdatesViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates NOTIFY canCheckForUpdatesChanged)

public:
    inline static const QString title = QStringLiteral("Check for Updates\u2026");

    explicit CheckForUpdatesViewModel(Updater* updater = nullptr, QObject* parent = nullptr);

    Updater* updater() const { return m_updater; }
    // Follows this updater from now on, starting from what it says at once.
    void setUpdater(Updater* updater);

    bool canCheckForUpdates() const { return m_canCheckForUpdates; }
    // The menu item was chosen.
    void checkForUpdates();

signals:
    void canCheckForUpdatesChanged(bool canCheck);

private:
    void setCanCheckForUpdates(bool canCheck);

    QPointer<Updater> m_updater;
    QMetaObject::Connection m_following;
    bool m_canCheckForUpdates = false;
};
