#pragma once

#include "Backend/RequestBody.h"

#include <QList>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QPair>
#include <QUrl>
#include <qcoro/qcorotask.h>

#include <chrono>
#include <functional>
#include <set>

namespace tavro {

struct HttpRequest {
    QByteArray method;
    QUrl url;
    QList<QPair<QByteArray, QByteArray>> headers;
    std::function<std::unique_ptr<RequestBody>()> openBody; ///< empty: the request has no body
    /// Whether a redirection may lead to another host. Never with credentials in the headers.
    bool followsAnywhere = false;
    std::function<void(qint64 sent, qint64 total)> onUploadProgress;
};

struct HttpAnswer {
    int status = 0;  ///< 0: not an HTTP answer
    QUrl location;   ///< where it sends the client instead, if so
    QByteArray body; ///< of a status from 200 to 299 only
};

/// Sends HTTP requests, with the system's proxies and certificates. Lives and works on one thread, which runs
/// an event loop.
///
/// An exchange ends with an error after `timeout` without any progress: a long upload may take as long as it
/// needs. Redirections are followed as browsers follow them, within the same scheme, host and port only
/// unless the request says otherwise, and never from https to http; an upload is never turned into a GET.
/// Nothing with a body is ever sent a second time of the network stack's own accord.
class HttpTransport {
public:
    explicit HttpTransport(std::chrono::milliseconds timeout);
    ~HttpTransport();

    /// The body of the answer with a status from 200 to 299. Throws BackendError::notFound for any other
    /// answer, and PlatformError (domain "QNetworkReply", QNetworkReply::NetworkError, its text) when the
    /// transport fails.
    QCoro::Task<QByteArray> send(HttpRequest request);
    /// The same for those who want to know the status: throws only when the transport fails.
    QCoro::Task<HttpAnswer> answerTo(HttpRequest request);

    /// Ends all exchanges with an error; later ones fail at once.
    void cancel();

private:
    QCoro::Task<HttpAnswer> exchange(HttpRequest request);

    std::chrono::milliseconds timeout;
    QNetworkAccessManager manager;
    std::set<QNetworkReply*> inFlight;
    bool cancelled = false;
};

/// The proxy that the application's settings name for the address, for a connection that is tunnelled.
QNetworkProxy tunnelProxyFor(QUrl url);

} // namespace tavro
