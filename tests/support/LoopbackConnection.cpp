#include "support/LoopbackConnection.h"

namespace tavro::test {

namespace {

constexpr int keptBody = 8 * 1024 * 1024;

Received parseHead(const QByteArray& head) {
    Received request;
    const QList<QByteArray> lines = head.split('\n');
    const QList<QByteArray> words = lines.value(0).trimmed().split(' ');
    request.method = words.value(0);
    request.target = words.value(1);
    for (const QByteArray& line : lines.mid(1)) {
        const auto colon = line.indexOf(':');
        if (colon > 0)
            request.headers.insert(line.left(colon).toLower(), line.mid(colon + 1).trimmed());
    }
    return request;
}

} // namespace

LoopbackConnection::LoopbackConnection(LoopbackService::State& state, QTcpSocket* tcp)
    : QObject(tcp)
    , service(state)
    , socket(tcp) {
    connect(socket, &QTcpSocket::readyRead, this, &LoopbackConnection::read);
    connect(&readTimer, &QTimer::timeout, this, &LoopbackConnection::read);
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    if (socket->bytesAvailable() > 0)
        read();
}

LoopbackConnection::~LoopbackConnection() {
    if (!inBody)
        return;
    request.complete = false;
    request.sha256 = hash.result().toHex();
    service.note(request);
}

void LoopbackConnection::read() {
    while (!answering)
        if (!(inBody ? readBody() : readHead()))
            return;
}

bool LoopbackConnection::readHead() {
    const QByteArray seen = socket->peek(256 * 1024);
    const auto end = seen.indexOf("\r\n\r\n");
    if (end < 0)
        return false;
    request = parseHead(seen.left(end));
    rule = service.ruleFor(request.method + ' ' + request.target).value_or(Misbehaviour());
    if (request.headers.value("upgrade").toLower() == "websocket") {
        upgrade(seen.left(end));
        return false;
    }
    socket->skip(end + 4);
    if (request.headers.contains("transfer-encoding")) {
        write({411, {}, {}}); // an upload needs a length
        return true;
    }
    if (request.headers.value("expect").toLower() == "100-continue")
        socket->write("HTTP/1.1 100 Continue\r\n\r\n");
    expected = request.headers.value("content-length").toLongLong();
    hash.reset();
    inBody = true;
    if (rule.readChunk > 0 && expected > 0) {
        socket->setReadBufferSize(rule.readChunk);
        socket->setSocketOption(
            QAbstractSocket::ReceiveBufferSizeSocketOption, 1 << 16); // unread data stays at the sender
        if (rule.readEvery.count() > 0)
            readTimer.start(rule.readEvery);
        else
            QTimer::singleShot(
                0, &readTimer, [this] { disconnect(socket, &QTcpSocket::readyRead, this, nullptr); });
    }
    return true;
}

bool LoopbackConnection::readBody() {
    const bool slow = rule.readChunk > 0 && rule.readEvery.count() > 0;
    if (slow && sender() != &readTimer && expected > 0)
        return false;
    std::int64_t most = std::min<std::int64_t>(expected - request.bodySize, 1 << 20);
    if (rule.cutAfter >= 0)
        most = std::min(most, rule.cutAfter - request.bodySize);
    if (rule.readChunk > 0)
        most = std::min(most, rule.readChunk);
    const QByteArray part = socket->read(most);
    request.bodySize += part.size();
    hash.addData(part);
    if (request.body.size() < keptBody)
        request.body += part.left(keptBody - request.body.size());
    if (request.bodySize == rule.cutAfter) {
        socket->abort();
        return false;
    }
    if (request.bodySize < expected)
        return !part.isEmpty() && !slow;

    inBody = false;
    readTimer.stop();
    socket->setReadBufferSize(0);
    request.sha256 = hash.result().toHex();
    if (!request.target.startsWith("/control/"))
        service.note(request);
    reply();
    return true;
}

// QWebSocketServer takes over the connection with the request still unread.
void LoopbackConnection::upgrade(QByteArray head) {
    answering = true;
    Received handshake = parseHead(head);
    handshake.kind = Received::Kind::handshake;
    service.note(handshake);
    if (rule.status != 0) {
        socket->skip(head.size() + 4);
        reply();
        return;
    }
    QTimer::singleShot(rule.delay, this, [this] {
        socket->disconnect(this);
        QObject::disconnect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        setParent(nullptr);
        deleteLater();
        service.webSockets->handleConnection(socket);
    });
}

void LoopbackConnection::reply() {
    answering = true;
    Answer answer = rule.status == 0 ? service.answer(request) : Answer{rule.status, "{}", {}};
    if (!rule.body.isNull())
        answer.body = rule.body;
    answer.headers.insert(rule.headers);
    if (rule.delay.count() == 0)
        write(answer);
    else
        QTimer::singleShot(rule.delay, this, [this, answer] {
            write(answer);
            read();
        });
}

void LoopbackConnection::write(const Answer& answer) {
    QByteArray bytes = "HTTP/1.1 " + QByteArray::number(answer.status) + " Status\r\n";
    if (answer.status != 204)
        bytes += "Content-Length: " + QByteArray::number(answer.body.size()) + "\r\n";
    for (auto header = answer.headers.begin(); header != answer.headers.end(); ++header)
        bytes += header.key() + ": " + header.value() + "\r\n";
    bytes += "\r\n";
    if (rule.dribble.count() > 0 && !answer.body.isEmpty()) {
        socket->write(bytes);
        writeSlowly(answer.body, rule.dribble);
        return;
    }
    if (answer.status != 204)
        bytes += answer.body;
    socket->write(bytes);
    answering = false;
}

void LoopbackConnection::writeSlowly(QByteArray bytes, std::chrono::milliseconds pause) {
    socket->write(bytes.left(1));
    if (bytes.size() == 1) {
        answering = false;
        read();
    } else {
        QTimer::singleShot(pause, this, [this, rest = bytes.mid(1), pause] { writeSlowly(rest, pause); });
    }
}

} // namespace tavro::test
