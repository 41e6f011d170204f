#include "services/FreshFetch.h"

#include "base/Clock.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

void fetchFresh(QNetworkAccessManager& network, const QUrl& url, double deadline, QObject* context,
                std::function<void(const FetchAnswer&)> done) {
    QNetworkRequest request(url);
    request.setTransferTimeout(qRound(deadline * 1000));
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    QNetworkReply* reply = network.get(request);
    // The transfer time-out only notices silence; this deadline bounds the whole request.
    Time::scheduler().post(deadline, reply, [reply] { reply->abort(); });
    QObject::connect(reply, &QNetworkReply::finished, context, [reply, done = std::move(done)] {
        reply->deleteLater();
        FetchAnswer answer;
        const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        // Codes below the proxy's are failures of the connection itself, even after a status line; the
        // content errors that QNetworkReply raises for 4xx and 5xx answers are HTTP answers.
        if (reply->error() != QNetworkReply::NoError &&
            (reply->error() < QNetworkReply::ProxyConnectionRefusedError || !status.isValid())) {
            answer.failure = reply->errorString();
        } else {
            answer.status = status.isValid() ? status.toInt() : 0;
            answer.body = reply->readAll();
        }
        done(answer);
    });
}
