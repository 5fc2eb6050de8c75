#include "Backend/HttpTransport.h"

#include "Backend/BackendClient.h"

#include <QCoreApplication>
#include <QNetworkReply>
#include <QPointer>
#include <QTimer>
#include <qcoro/qcoronetworkreply.h>

#include <optional>

namespace tavro {

namespace {

constexpr int mostRedirections = 10;

struct DeleteLater {
    void operator()(QObject* object) const { object->deleteLater(); }
};
using ReplyHandle = std::unique_ptr<QNetworkReply, DeleteLater>;

PlatformError transportError(QNetworkReply::NetworkError code, const QString& text) {
    return PlatformError(QStringLiteral("QNetworkReply"), code, text);
}

PlatformError errorOf(const QNetworkReply& reply) {
    // The body refused to be sent again: what happened before that is what the caller wants to know.
    if (reply.error() == QNetworkReply::ContentReSendError)
        return transportError(
            QNetworkReply::RemoteHostClosedError, QCoreApplication::translate("QHttp", "Connection closed"));
    return transportError(reply.error(), reply.errorString());
}

bool isHttp(const QUrl& url) {
    return url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
}

int portOf(const QUrl& url) {
    return url.port(url.scheme() == QLatin1String("https") ? 443 : 80);
}

bool isSameOrigin(const QUrl& a, const QUrl& b) {
    return a.scheme() == b.scheme() && a.host() == b.host() && portOf(a) == portOf(b);
}

bool isRedirection(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

/// The request that follows `request` when the answer redirects it and that may be followed.
std::optional<HttpRequest> redirected(const HttpRequest& request, int status, const QUrl& location) {
    if (!isRedirection(status) || location.isEmpty())
        return std::nullopt;
    HttpRequest next = request;
    next.url = request.url.resolved(location);
    const bool lessSafe =
        request.url.scheme() == QLatin1String("https") && next.url.scheme() != request.url.scheme();
    if (lessSafe || !(request.followsAnywhere || isSameOrigin(request.url, next.url)))
        return std::nullopt;
    if (status == 303 || (request.method == "POST" && status < 303)) {
        if (request.method == "PUT")
            return std::nullopt;
        next.method = "GET";
        next.openBody = nullptr;
        next.headers.removeIf([](const auto& header) { return header.first == "Content-Type"; });
    }
    return next;
}

QNetworkRequest qtRequest(const HttpRequest& request) {
    QNetworkRequest qt(request.url);
    qt.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    // One file at a time gains nothing from HTTP/2, whose flow control throttles uploads.
    qt.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    qt.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("Tavro"));
    for (const auto& [name, value] : request.headers)
        qt.setRawHeader(name, value);
    return qt;
}

} // namespace

QNetworkProxy tunnelProxyFor(QUrl url) {
    if (url.scheme() == QLatin1String("ws"))
        url.setScheme(QStringLiteral("http"));
    else if (url.scheme() == QLatin1String("wss"))
        url.setScheme(QStringLiteral("https"));
    for (const QNetworkProxy& proxy : QNetworkProxyFactory::proxyForQuery(QNetworkProxyQuery(url)))
        if (proxy.capabilities() & QNetworkProxy::TunnelingCapability)
            return proxy;
    return QNetworkProxy(QNetworkProxy::NoProxy);
}

HttpTransport::HttpTransport(std::chrono::milliseconds idleTime) : timeout(idleTime) {}

HttpTransport::~HttpTransport() {
    cancel();
}

void HttpTransport::cancel() {
    cancelled = true;
    const auto open = inFlight;
    for (QNetworkReply* reply : open)
        if (inFlight.contains(reply))
            reply->abort();
}

QCoro::Task<QByteArray> HttpTransport::send(HttpRequest request) {
    auto running = answerTo(std::move(request));
    const HttpAnswer answer = co_await running;
    if (answer.status < 200 || answer.status > 299)
        throw BackendError(BackendError::Case::notFound);
    co_return answer.body;
}

QCoro::Task<HttpAnswer> HttpTransport::answerTo(HttpRequest request) {
    for (int followed = 0;; ++followed) {
        auto running = exchange(request);
        const HttpAnswer answer = co_await running;
        auto next = redirected(request, answer.status, answer.location);
        if (!next || followed == mostRedirections)
            co_return answer;
        request = *std::move(next);
    }
}

QCoro::Task<HttpAnswer> HttpTransport::exchange(HttpRequest request) {
    if (cancelled)
        throw transportError(QNetworkReply::OperationCanceledError,
            QCoreApplication::translate("QNetworkReply", "Operation canceled"));
    if (!isHttp(request.url)) // the network stack would also read and write local files
        throw transportError(QNetworkReply::ProtocolUnknownError,
            QCoreApplication::translate("QNetworkAccessManager", "Protocol \"%1\" is unknown")
                .arg(request.url.scheme()));

    std::unique_ptr<RequestBody> body = request.openBody ? request.openBody() : nullptr;
    const ReplyHandle reply(manager.sendCustomRequest(qtRequest(request), request.method, body.get()));
    if (body)
        body.release()->setParent(reply.get());

    bool timedOut = false;
    QTimer idle;
    idle.setSingleShot(true);
    idle.start(timeout);
    const auto progress = [&idle] { idle.start(); };
    QObject::connect(&idle, &QTimer::timeout, reply.get(), [&timedOut, reply = reply.get()] {
        timedOut = true;
        reply->abort();
    });
    QObject::connect(reply.get(), &QNetworkReply::encrypted, &idle, progress);
    QObject::connect(reply.get(), &QNetworkReply::requestSent, &idle, progress);
    QObject::connect(reply.get(), &QNetworkReply::metaDataChanged, &idle, progress);
    QObject::connect(reply.get(), &QNetworkReply::downloadProgress, &idle, progress);
    QObject::connect(reply.get(), &QNetworkReply::uploadProgress, &idle, [&](qint64 sent, qint64 total) {
        idle.start();
        if (request.onUploadProgress && total > 0)
            request.onUploadProgress(sent, total);
    });

    inFlight.insert(reply.get());
    co_await reply.get();
    inFlight.erase(reply.get());

    if (timedOut)
        throw transportError(QNetworkReply::TimeoutError,
            QCoreApplication::translate("QAbstractSocket", "Socket operation timed out"));
    HttpAnswer answer;
    answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const bool isFailure = answer.status != 0 && (answer.status < 200 || answer.status > 299);
    if (isFailure)
        answer.location = reply->header(QNetworkRequest::LocationHeader).toUrl();
    else if (reply->error() != QNetworkReply::NoError)
        throw errorOf(*reply);
    else
        answer.body = reply->readAll();
    co_return answer;
}

} // namespace tavro
