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

    /// Ends all exchanges with an error; later ones fail at once.
    void cancel();

private:
    struct Answer {
        int status = 0; // 0: no HTTP answer
        QUrl location;
        QByteArray body;
    };
    QCoro::Task<Answer> exchange(HttpRequest request);

    std::chrono::milliseconds timeout;
    QNetworkAccessManager manager;
    std::set<QNetworkReply*> inFlight;
    bool cancelled = false;
};

/// The proxy that the application's settings name for the address, for a connection that is tunnelled.
QNetworkProxy tunnelProxyFor(QUrl url);

} // namespace tavro
