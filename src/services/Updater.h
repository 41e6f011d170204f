#pragma once

#include <QObject>
#include <QString>

// One version on offer, as an update feed names it: the version shown to people, and the one that
// orders releases.
struct UpdateItem {
    QString displayVersion;
    QString version;
};

// Whatever keeps the program up to date on this platform. The menu and the banners only ever ask it to
// check, and follow whether it can; how an update is found and installed is the platform's business.
class Updater : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates NOTIFY canCheckForUpdatesChanged)

public:
    using QObject::QObject;

    // False while a check is under way, so the user can't stack a second one on it.
    virtual bool canCheckForUpdates() const = 0;
    // The user asked: take them through the update from here.
    virtual void checkForUpdates() = 0;

signals:
    void canCheckForUpdatesChanged(bool canCheck);
};
