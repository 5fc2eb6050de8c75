#pragma once

#include "Backend/FileUpload.h"
#include "Backend/HttpAnswer.h"

#include <QNetworkAccessManager>
#include <qcoro/qcorotask.h>

#include <chrono>
#include <filesystem>
#include <stop_token>

namespace tavro {

struct HttpRequest {
    QByteArray method;
    QUrl url;
    QByteArray authorization; ///< null: none
    QByteArray json;          ///< null: no body
};

/// Sends HTTP requests, with the system's proxies and certificates. Lives and works on one thread, which runs
/// an event loop.
///
/// An exchange ends with an error after `timeout` without any progress, after ten times as long in all, and
/// when its answer exceeds 16 MiB; a long upload may take as long as it needs. When the transport fails, that
/// is a PlatformError of domain "QNetworkReply" (QNetworkReply::NetworkError and its text) or, once an upload
/// is under way, "curl" (a CURLcode and its text). Nothing with a body is ever sent again after the
/// connection broke.
class HttpTransport {
public:
    explicit HttpTransport(std::chrono::milliseconds timeout);
    ~HttpTransport();

    /// The body of the answer with a status from 200 to 299. Throws BackendError::notFound for any other
    /// answer, but for a DELETE that finds nothing when sent again. Follows
    /// redirections as browsers do, but only within the same scheme, host and port, or from http to https on
    /// the same host: the credentials are nobody else's business.
    QCoro::Task<QByteArray> send(HttpRequest request);
    /// The same for those who want to know the status: throws only when the transport fails.
    QCoro::Task<HttpAnswer> answerTo(HttpRequest request);

    /// Puts the file there, without credentials; throws notFound as `send` does. Follows redirections that
    /// ask for the same request elsewhere (307 and 308), never from https to http. Calls `progress` on a
    /// thread of the upload's own.
    QCoro::Task<> upload(QUrl url, std::filesystem::path file, UploadProgress progress);

    /// Ends everything under way with an error; what is asked for later fails at once.
    void cancel();

private:
    void check(const QUrl& url) const; // throws when nothing may be sent there
    QCoro::Task<HttpAnswer> exchange(HttpRequest request);

    std::chrono::milliseconds timeout;
    QNetworkAccessManager manager;
    std::stop_source stop; // of everything
};

} // namespace tavro
