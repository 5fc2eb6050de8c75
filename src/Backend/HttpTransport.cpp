#include "Backend/HttpTransport.h"

#include "Backend/BackendClient.h"
#include "Backend/RequestBody.h"
#include "Core/Errors.h"
#include "Core/Log.h"
#include "Core/SerialQueue.h"
#include "Core/Version.h"

#include <QCoreApplication>
#include <QNetworkReply>
#include <QTimer>
#include <qcoro/qcoronetworkreply.h>

#include <optional>

namespace tavro {

namespace {

constexpr int mostRedirections = 10;
constexpr qint64 longestAnswer = 16 << 20; // bytes
constexpr int longestExchange = 10;        // times the limit without progress

struct DeleteLater {
    void operator()(QObject* object) const { object->deleteLater(); }
};
using ReplyHandle = std::unique_ptr<QNetworkReply, DeleteLater>;

Cause causeOf(QNetworkReply::NetworkError code) {
    switch (code) {
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::UnknownNetworkError:
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::ProxyNotFoundError:
        return {Cause::serviceUnreachable};
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::ProxyConnectionClosedError:
        return {Cause::connectionLost};
    case QNetworkReply::TimeoutError:
    case QNetworkReply::ProxyTimeoutError:
        return {Cause::serviceSilent};
    case QNetworkReply::SslHandshakeFailedError:
        return {Cause::serviceUntrusted};
    case QNetworkReply::ProtocolFailure:
    case QNetworkReply::UnknownContentError:
        return {Cause::answerNotUnderstood};
    default:
        return {};
    }
}

PlatformError transportError(QNetworkReply::NetworkError code, const QString& text) {
    return PlatformError(QStringLiteral("QNetworkReply"), code, text, causeOf(code));
}

/// A refusal by status. The error's text does not tell it, so the log does.
BackendError refused(Cause::Kind kind, int status, const QByteArray& method, const QUrl& url) {
    Log::error(QStringLiteral("backend: %1 %2 was answered with HTTP %3")
                   .arg(QString::fromUtf8(method),
                       url.toString(QUrl::RemoveUserInfo | QUrl::RemoveQuery | QUrl::RemoveFragment),
                       QString::number(status)));
    const bool isHttp = status > 0;
    return BackendError(BackendError::Case::notFound, {isHttp ? kind : Cause::answerNotUnderstood, status});
}

PlatformError errorOf(const QNetworkReply& reply) {
    // The body refused to be sent again: what happened before that is what the caller wants to know.
    if (reply.error() == QNetworkReply::ContentReSendError)
        return transportError(
            QNetworkReply::RemoteHostClosedError, QCoreApplication::translate("QHttp", "Connection closed"));
    return transportError(reply.error(), reply.errorString());
}

int portOf(const QUrl& url) {
    return url.port(url.scheme() == QLatin1String("https") ? 443 : 80);
}

bool maySeeCredentials(const QUrl& to, const QUrl& from) {
    const bool isSecured = from.scheme() == QLatin1String("http") && to.scheme() == QLatin1String("https");
    return to.host() == from.host() &&
           (isSecured || (to.scheme() == from.scheme() && portOf(to) == portOf(from)));
}

/// Where an answer sends the request on to; none when it does not, or less safely than before.
std::optional<QUrl> redirectionOf(const HttpAnswer& answer, const QUrl& from) {
    const int status = answer.status;
    const bool redirects = status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
    const QUrl to = from.resolved(answer.location);
    const bool isLessSafe = from.scheme() == QLatin1String("https") && to.scheme() != from.scheme();
    if (!redirects || answer.location.isEmpty() || isLessSafe)
        return std::nullopt;
    return to;
}

QNetworkRequest qtRequest(const HttpRequest& request) {
    QNetworkRequest qt(request.url);
    qt.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    // A handful of small requests gains nothing from HTTP/2.
    qt.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    qt.setHeader(QNetworkRequest::UserAgentHeader, QString::fromLatin1(userAgent));
    if (!request.authorization.isNull())
        qt.setRawHeader("Authorization", request.authorization);
    if (!request.json.isNull())
        qt.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    return qt;
}

} // namespace

HttpTransport::HttpTransport(std::chrono::milliseconds idleTime) : timeout(idleTime) {}

HttpTransport::~HttpTransport() {
    cancel();
}

void HttpTransport::cancel() {
    stop.request_stop();
    for (QNetworkReply* reply : manager.findChildren<QNetworkReply*>())
        reply->abort();
}

void HttpTransport::check(const QUrl& url) const {
    if (stop.stop_requested())
        throw transportError(QNetworkReply::OperationCanceledError,
            QCoreApplication::translate("QNetworkReply", "Operation canceled"));
    if (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https"))
        // What sends requests would also read and write local files.
        throw transportError(QNetworkReply::ProtocolUnknownError,
            QCoreApplication::translate("QNetworkAccessManager", "Protocol \"%1\" is unknown")
                .arg(url.scheme()));
}

QCoro::Task<QByteArray> HttpTransport::send(HttpRequest request) {
    auto running = answerTo(request);
    const HttpAnswer answer = co_await running;
    const bool isDoneAlready = request.method == "DELETE" && answer.status == 404 && answer.isSentAgain;
    if (answer.isSuccess() || isDoneAlready)
        co_return answer.body;
    constexpr int notFound = 404;
    throw refused(answer.status == notFound ? Cause::unknownToService : Cause::serviceRefused, answer.status,
        request.method, request.url);
}

QCoro::Task<HttpAnswer> HttpTransport::answerTo(HttpRequest request) {
    for (int followed = 0;; ++followed) {
        auto running = exchange(request);
        const HttpAnswer answer = co_await running;
        const auto next = redirectionOf(answer, request.url);
        if (!next || !maySeeCredentials(*next, request.url) || followed == mostRedirections)
            co_return answer;
        const bool isSecured = next->scheme() != request.url.scheme(); // nothing else changes then
        request.url = *next;
        if (answer.status == 303 || (answer.status < 303 && request.method == "POST" && !isSecured)) {
            request.method = "GET";
            request.json = {};
        }
    }
}

QCoro::Task<> HttpTransport::upload(QUrl url, std::filesystem::path file, UploadProgress progress) {
    for (int followed = 0;; ++followed) {
        check(url);
        SerialQueue thread(QStringLiteral("tavro.upload"));
        auto answered = thread.run([&] { return putFile(url, file, timeout, progress, stop.get_token()); });
        const HttpAnswer answer = co_await answered;
        if (answer.isSuccess())
            co_return;
        const auto next = redirectionOf(answer, url);
        if (answer.status < 307 || !next || followed == mostRedirections)
            throw refused(Cause::serviceRefused, answer.status, "PUT", url);
        url = *next;
    }
}

QCoro::Task<HttpAnswer> HttpTransport::exchange(HttpRequest request) {
    check(request.url);

    std::unique_ptr<RequestBody> body;
    if (!request.json.isNull())
        body = std::make_unique<RequestBody>(request.json);
    const ReplyHandle reply(manager.sendCustomRequest(qtRequest(request), request.method, body.get()));
    if (body)
        body.release()->setParent(reply.get());

    std::optional<PlatformError> failure;
    const auto giveUp = [&failure, reply = reply.get()](
                            QNetworkReply::NetworkError code, const QString& text) {
        if (!failure)
            failure = transportError(code, text);
        reply->abort();
    };
    int timesSent = 0;
    QTimer idle, whole; // also end the connections below, which use the variables above
    const auto progress = [&idle] { idle.start(); };
    for (QTimer* timer : {&idle, &whole}) {
        timer->setSingleShot(true);
        QObject::connect(timer, &QTimer::timeout, &idle, [giveUp] {
            giveUp(QNetworkReply::TimeoutError,
                QCoreApplication::translate("QAbstractSocket", "Socket operation timed out"));
        });
    }
    idle.start(timeout);
    whole.start(timeout * longestExchange);
    QObject::connect(reply.get(), &QNetworkReply::requestSent, &idle, [&timesSent] { ++timesSent; });
    QObject::connect(reply.get(), &QNetworkReply::downloadProgress, &idle, [giveUp](qint64 received) {
        if (received > longestAnswer)
            giveUp(QNetworkReply::UnknownContentError, QStringLiteral("The answer is too long"));
    });
    QObject::connect(reply.get(), &QNetworkReply::encrypted, &idle, progress);
    QObject::connect(reply.get(), &QNetworkReply::requestSent, &idle, progress);
    QObject::connect(reply.get(), &QNetworkReply::metaDataChanged, &idle, progress);
    QObject::connect(reply.get(), &QNetworkReply::downloadProgress, &idle, progress);
    QObject::connect(reply.get(), &QNetworkReply::uploadProgress, &idle, progress);

    co_await reply.get();

    if (failure)
        throw PlatformError(*failure);
    HttpAnswer answer;
    answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    answer.isSentAgain = timesSent > 1;
    answer.location = reply->header(QNetworkRequest::LocationHeader).toUrl();
    if (answer.status == 0 || answer.isSuccess()) {
        if (reply->error() != QNetworkReply::NoError)
            throw errorOf(*reply);
        answer.body = reply->readAll();
    }
    co_return answer;
}

} // namespace tavro
