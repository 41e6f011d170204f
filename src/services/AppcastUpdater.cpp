#include "services/AppcastUpdater.h"

#include "platform/Platform.h"
#include "services/Appcast.h"
#include "services/FreshFetch.h"
#include "services/VersionCheck.h"

#include <QNetworkAccessManager>

using namespace Qt::StringLiterals;

AppcastUpdater::AppcastUpdater(UpdateLogger& listener, QObject* parent)
    : AppcastUpdater(listener, Sources(), parent) {}

AppcastUpdater::AppcastUpdater(UpdateLogger& listener, Sources sources, QObject* parent)
    : Updater(parent)
    , m_listener(listener)
    , m_sources(std::move(sources)) {}

AppcastUpdater::~AppcastUpdater() = default;

QString AppcastUpdater::defaultRunningVersion() {
    return Platform::appVersion();
}
QString AppcastUpdater::defaultFeedUrl() {
    return Platform::siteUrl() + u"/appcast.xml"_s;
}
QString AppcastUpdater::defaultDownloadPage() {
    return VersionCheck::shared().downloadUrl();
}

void AppcastUpdater::start() {
    if (m_checking)
        return;
    // A development build has no release number to weigh against the feed's.
    if (m_sources.running == u"dev"_s) {
        m_listener.didNotFindUpdate(this, u"development build, not compared with releases"_s);
        return;
    }
    const QUrl url(m_sources.feedUrl, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty()) {
        m_listener.didNotFindUpdate(this, u"the update feed's address is not a URL"_s);
        return;
    }
    if (!m_network)
        m_network = new QNetworkAccessManager(this);
    setChecking(true);
    fetchFresh(*m_network, url, fetchTimeout, this,
               [this](const FetchAnswer& answer) { finishCheck(answer); });
}

void AppcastUpdater::checkForUpdates() {
    if (m_openUrl)
        m_openUrl(QUrl(m_sources.downloadPage()));
}

void AppcastUpdater::finishCheck(const FetchAnswer& answer) {
    if (answer.failure)
        m_listener.didNotFindUpdate(this, u"could not fetch the update feed: "_s + *answer.failure);
    else if (!answer.succeeded())
        m_listener.didNotFindUpdate(this, u"the update feed answered HTTP %1"_s.arg(answer.status));
    else
        reportFeed(answer.body);
    setChecking(false);
}

void AppcastUpdater::reportFeed(const QByteArray& body) {
    const Appcast feed = parseAppcast(body);
    if (feed.error) {
        m_listener.didNotFindUpdate(this, u"the update feed is malformed: "_s + *feed.error);
        return;
    }
    const std::optional<UpdateItem> newest = newestAppcastItem(feed.items);
    if (!newest)
        m_listener.didNotFindUpdate(this, u"the update feed lists no release"_s);
    else if (VersionCheck::compareVersions(m_sources.running, newest->displayVersion))
        m_listener.didFindValidUpdate(this, *newest);
    else
        m_listener.didNotFindUpdate(this, u"You're up to date."_s);
}

void AppcastUpdater::setChecking(bool checking) {
    if (m_checking == checking)
        return;
    m_checking = checking;
    emit canCheckForUpdatesChanged(!checking);
}
