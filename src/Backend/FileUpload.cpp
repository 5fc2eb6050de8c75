#include "Backend/FileUpload.h"

#include "Backend/Proxy.h"
#include "Core/Errors.h"

#include <QCoreApplication>

namespace tavro {

namespace {

constexpr qint64 pieceSize = 256 * 1024;
constexpr qsizetype longestHead = 64 * 1024;
constexpr std::chrono::milliseconds reportInterval{100};

PlatformError socketError(QAbstractSocket::SocketError code, const QString& text) {
    return PlatformError(QStringLiteral("QAbstractSocket"), code, text);
}

bool isSecure(const QUrl& url) {
    return url.scheme() == QLatin1String("https");
}

} // namespace

FileUpload::FileUpload(
    QUrl address, const std::filesystem::path& path, std::chrono::milliseconds timeout, Progress onProgress)
    : url(std::move(address))
    , progress(std::move(onProgress))
    , file(path) {
    if (!isSecure(url) && url.scheme() != QLatin1String("http"))
        throw socketError(QAbstractSocket::UnsupportedSocketOperationError,
            QCoreApplication::translate("QNetworkAccessManager", "Protocol \"%1\" is unknown")
                .arg(url.scheme()));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        throw PlatformError(QStringLiteral("QFile"), file.error(), file.errorString());
    total = file.size();

    idle.setSingleShot(true);
    idle.setInterval(timeout);
    QObject::connect(&idle, &QTimer::timeout, &socket, [this] {
        fail(QAbstractSocket::SocketTimeoutError,
            QCoreApplication::translate("QAbstractSocket", "Socket operation timed out"));
    });
    QObject::connect(&socket, &QSslSocket::bytesWritten, &socket, [this] { pump(); });
    QObject::connect(&socket, &QSslSocket::encryptedBytesWritten, &socket, [this] { pump(); });
    QObject::connect(&socket, &QSslSocket::readyRead, &socket, [this] { read(); });
    QObject::connect(&socket, &QSslSocket::stateChanged, &socket, [this] { idle.start(); });
    QObject::connect(
        &socket, &QSslSocket::errorOccurred, &socket, [this](QAbstractSocket::SocketError error) {
            read(); // the answer may have come before the connection went
            fail(error, socket.errorString());
        });
    connectToService();
}

FileUpload::~FileUpload() {
    socket.disconnect();
    socket.abort();
}

void FileUpload::connectToService() {
    const QNetworkProxy proxy = proxyFor(url);
    QByteArray target = url.path(QUrl::FullyEncoded).toLatin1();
    if (target.isEmpty())
        target = "/";
    if (url.hasQuery())
        target += '?' + url.query(QUrl::FullyEncoded).toLatin1();

    const bool asksProxy = !isSecure(url) && proxy.type() == QNetworkProxy::HttpProxy;
    socket.setProxy(asksProxy ? QNetworkProxy(QNetworkProxy::NoProxy) : proxy);
    if (asksProxy) // a proxy of that kind tunnels to secure ports only, as a rule
        target = url.toEncoded(QUrl::RemoveUserInfo | QUrl::RemoveFragment);
    head = requestHead(target);
    if (asksProxy && !proxy.user().isEmpty())
        head += "Proxy-Authorization: Basic " + (proxy.user() + u':' + proxy.password()).toUtf8().toBase64() +
                "\r\n";
    head += "\r\n";

    idle.start();
    if (isSecure(url)) {
        QObject::connect(&socket, &QSslSocket::encrypted, &socket, [this] { pump(); });
        socket.connectToHostEncrypted(url.host(), static_cast<quint16>(url.port(443)));
    } else {
        QObject::connect(&socket, &QSslSocket::connected, &socket, [this] { pump(); });
        socket.connectToHost(asksProxy ? proxy.hostName() : url.host(),
            asksProxy ? proxy.port() : static_cast<quint16>(url.port(80)));
    }
}

QByteArray FileUpload::requestHead(const QByteArray& target) const {
    QUrl host = url;
    host.setUserInfo({});
    return "PUT " + target + " HTTP/1.1\r\nHost: " + host.authority(QUrl::FullyEncoded).toLatin1() +
           "\r\nContent-Type: video/mp4\r\nContent-Length: " + QByteArray::number(total) +
           "\r\nUser-Agent: Tavro\r\nConnection: close\r\n";
}

/// Keeps the socket supplied with a few pieces of the file.
void FileUpload::pump() {
    idle.start();
    if (!head.isEmpty())
        socket.write(std::exchange(head, {}));
    while (file.pos() < total && socket.bytesToWrite() + socket.encryptedBytesToWrite() < pieceSize) {
        const QByteArray piece = file.read(std::min(pieceSize, total - file.pos()));
        if (piece.isEmpty()) {
            result.reject(std::make_exception_ptr(
                PlatformError(QStringLiteral("QFile"), QFileDevice::ReadError, file.errorString())));
            socket.abort();
            return;
        }
        socket.write(piece);
    }
    reportProgress();
}

void FileUpload::reportProgress() {
    const qint64 sent = file.pos() - std::min(file.pos(), socket.bytesToWrite());
    if (!progress ||
        (sent < total && sinceReport.isValid() && !sinceReport.hasExpired(reportInterval.count())))
        return;
    sinceReport.start();
    progress(sent, total);
}

void FileUpload::read() {
    idle.start();
    received += socket.readAll();
    for (auto end = received.indexOf("\r\n\r\n"); end >= 0; end = received.indexOf("\r\n\r\n")) {
        parseHead(received.left(end));
        received.remove(0, end + 4);
    }
    if (received.size() > longestHead)
        fail(QAbstractSocket::UnknownSocketError, QStringLiteral("The server's answer is not HTTP"));
}

void FileUpload::parseHead(const QByteArray& text) {
    const QList<QByteArray> lines = text.split('\n');
    const QByteArray status = lines.first().simplified();
    HttpAnswer answer;
    if (status.startsWith("HTTP/1."))
        answer.status = status.split(' ').value(1).toInt();
    if (answer.status >= 100 && answer.status <= 199) // not the final answer
        return;
    if (answer.isSuccess() && (file.pos() < total || socket.bytesToWrite() > 0)) {
        fail(QAbstractSocket::UnknownSocketError,
            QStringLiteral("The server answered before it had the whole file"));
        return;
    }
    for (const QByteArray& line : lines)
        if (line.left(9).toLower() == "location:")
            answer.location = QUrl::fromEncoded(line.mid(9).trimmed());
    result.resolve(answer);
}

void FileUpload::fail(QAbstractSocket::SocketError code, const QString& text) {
    result.reject(std::make_exception_ptr(socketError(code, text)));
}

void FileUpload::cancel() {
    fail(QAbstractSocket::OperationError, QCoreApplication::translate("QNetworkReply", "Operation canceled"));
}

} // namespace tavro
