#include "screens/CheckForUpdatesViewModel.h"

#include "services/Updater.h"

CheckForUpdatesViewModel::CheckForUpdatesViewModel(Updater* updater, QObject* parent)
    : QObject(parent) {
    setUpdater(updater);
}

void CheckForUpdatesViewModel::setUpdater(Updater* updater) {
    disconnect(m_following);
    m_updater = updater;
    if (!updater) {
        setCanCheckForUpdates(false);
        return;
    }
    m_following = connect(updater, &Updater::canCheckForUpdatesChanged, this,
                          &CheckForUpdatesViewModel::setCanCheckForUpdates);
    // An updater that goes away can't be asked any more.
    connect(updater, &QObject::destroyed, this, [this] {
        if (m_updater.isNull())
            setCanCheckForUpdates(false);
    });
    setCanCheckForUpdates(updater->canCheckForUpdates());
}

void CheckForUpdatesViewModel::checkForUpdates() {
    if (m_updater && m_canCheckForUpdates)
        m_updater->checkForUpdates();
}

void CheckForUpdatesViewModel::setCanCheckForUpdates(bool canCheck) {
    if (m_canCheckForUpdates == canCheck)
        return;
    m_canCheckForUpdates = canCheck;
    emit canCheckForUpdatesChanged(canCheck);
}
