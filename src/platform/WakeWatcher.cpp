#include "platform/WakeWatcher.h"

#include <QDBusConnection>

using namespace Qt::StringLiterals;

WakeWatcher::WakeWatcher(QObject* parent)
    : QObject(parent) {
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return;
    m_listening = bus.connect(u"org.freedesktop.login1"_s, u"/org/freedesktop/login1"_s,
                              u"org.freedesktop.login1.Manager"_s, u"PrepareForSleep"_s, this,
                              SLOT(onPrepareForSleep(bool)));
}

void WakeWatcher::onPrepareForSleep(bool goingToSleep) {
    if (!goingToSleep)
        emit woke();
}
