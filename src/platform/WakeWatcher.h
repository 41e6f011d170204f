#pragma once

#include <QObject>

// Tells when the machine wakes from sleep. On Linux that is logind's PrepareForSleep(false) on the
// system bus; with no bus, or no logind, it simply never fires.
class WakeWatcher : public QObject {
    Q_OBJECT
public:
    explicit WakeWatcher(QObject* parent = nullptr);

    // Whether a source of wake notices was found.
    bool isListening() const { return m_listening; }

signals:
    void woke();

private slots:
    void onPrepareForSleep(bool goingToSleep);

private:
    bool m_listening = false;
};
