#pragma once

#include "Backend/HttpAnswer.h"
#include "Core/Promise.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSslSocket>
#include <QTimer>

#include <chrono>
#include <filesystem>
#include <functional>

namespace tavro {

/// One PUT request with a file as its body, read as it is sent, over a connection of its own. Lives and works
/// on one thread, which runs an event loop.
///
/// QNetworkAccessManager would do it too, but passes a body between its threads in pieces of 16 KB, which
/// halves the speed, and starts it over by itself when the connection breaks.
class FileUpload {
public:
    using Progress = std::function<void(qint64 sent, qint64 total)>;

    /// Starts at once; ends with an error after `timeout` without progress. Throws PlatformError when the
    /// file cannot be opened (domain "QFile") or the address has no scheme that it knows ("QAbstractSocket").
    FileUpload(
        QUrl url, const std::filesystem::path& path, std::chrono::milliseconds timeout, Progress progress);
    ~FileUpload();
    FileUpload(const FileUpload&) = delete;
    FileUpload& operator=(const FileUpload&) = delete;

    /// The answer without its body, as soon as it says that the upload has failed or, when it has not, the
    /// whole file is sent. Rejected with a PlatformError (domain "QAbstractSocket", its SocketError and
    /// text).
    const Promise<HttpAnswer>& answer() const { return result; }

    void cancel();

private:
    void connectToService();
    QByteArray requestHead(const QByteArray& target) const;
    void pump();
    void read();
    void parseHead(const QByteArray& head);
    void reportProgress();
    void fail(QAbstractSocket::SocketError code, const QString& text);

    const QUrl url;
    const Progress progress;
    Promise<HttpAnswer> result;
    QFile file;
    qint64 total = 0;
    QSslSocket socket;
    QTimer idle;
    QElapsedTimer sinceReport;
    QByteArray head; // what must go out first
    QByteArray received;
};

} // namespace tavro
