#include "support/LoopbackService.h"

#include "support/LoopbackConnection.h"
#include "support/LoopbackState.h"

#include <QJsonArray>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QWebSocket>

namespace tavro::test {

namespace {

QByteArray contentOf(const std::filesystem::path& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + path.string());
    return file.readAll();
}

std::unique_ptr<QTcpServer> makeServer(const LoopbackService::Options& options) {
    if (options.certificate.empty())
        return std::make_unique<QTcpServer>();
    auto server = std::make_unique<QSslServer>();
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setLocalCertificateChain(QSslCertificate::fromData(contentOf(options.certificate)));
    tls.setPrivateKey(QSslKey(contentOf(options.key), QSsl::Rsa));
    tls.setPeerVerifyMode(QSslSocket::VerifyNone);
    server->setSslConfiguration(tls);
    return server;
}

} // namespace

QByteArray Received::line() const {
    switch (kind) {
    case Kind::request:
        return method + ' ' + target;
    case Kind::handshake:
        return "handshake " + target;
    case Kind::message:
        return "message " + body;
    case Kind::pong:
        return "pong " + body;
    case Kind::close:
        return "close " + QByteArray::number(closeCode);
    }
    return {};
}

QJsonObject Received::toJson() const {
    static const char* const kinds[] = {"request", "handshake", "message", "pong", "close"};
    QJsonObject headerObject;
    for (auto header = headers.begin(); header != headers.end(); ++header)
        headerObject[QString::fromLatin1(header.key())] = QString::fromUtf8(header.value());
    return {{QStringLiteral("kind"), QLatin1String(kinds[static_cast<int>(kind)])},
        {QStringLiteral("line"), QString::fromUtf8(line())},
        {QStringLiteral("method"), QString::fromUtf8(method)},
        {QStringLiteral("target"), QString::fromUtf8(target)}, {QStringLiteral("headers"), headerObject},
        {QStringLiteral("body"), QString::fromUtf8(body.left(4096))},
        {QStringLiteral("bodySize"), qint64(bodySize)},
        {QStringLiteral("sha256"), QString::fromLatin1(sha256)}, {QStringLiteral("complete"), complete},
        {QStringLiteral("closeCode"), closeCode}};
}

Misbehaviour Misbehaviour::fromJson(const QJsonObject& object) {
    const auto number = [&](const char* key, qint64 other) {
        return object[QLatin1String(key)].toInteger(other);
    };
    Misbehaviour rule;
    rule.match = object[QLatin1String("match")].toString().toUtf8();
    rule.times = static_cast<int>(number("times", -1));
    rule.status = static_cast<int>(number("status", 0));
    if (object.contains(QLatin1String("body")))
        rule.body = object[QLatin1String("body")].toString().toUtf8() + QByteArray("");
    const QJsonObject headers = object[QLatin1String("headers")].toObject();
    for (auto header = headers.begin(); header != headers.end(); ++header)
        rule.headers.insert(header.key().toUtf8(), header.value().toString().toUtf8());
    rule.delay = std::chrono::milliseconds(number("delay", 0));
    rule.dribble = std::chrono::milliseconds(number("dribble", 0));
    rule.cutAfter = number("cutAfter", -1);
    rule.readChunk = number("readChunk", 0);
    rule.readEvery = std::chrono::milliseconds(number("readEvery", 0));
    return rule;
}

void LoopbackService::State::listen() {
    server = makeServer(options);
    webSockets =
        std::make_unique<QWebSocketServer>(QStringLiteral("loopback"), QWebSocketServer::NonSecureMode);
    QObject::connect(server.get(), &QTcpServer::pendingConnectionAvailable, server.get(), [this] {
        while (QTcpSocket* socket = server->nextPendingConnection())
            new LoopbackConnection(*this, socket); // owned by the socket
    });
    QObject::connect(webSockets.get(), &QWebSocketServer::newConnection, webSockets.get(), [this] {
        while (QWebSocket* socket = webSockets->nextPendingConnection())
            openChannel(socket);
    });
    if (!server->listen(QHostAddress::LocalHost, options.port))
        throw std::runtime_error("cannot listen: " + server->errorString().toStdString());
    baseURL = QUrl(QStringLiteral("%1://%2:%3").arg(scheme("http"), options.host).arg(server->serverPort()));
    if (!options.recordFile.empty()) {
        recordFile.setFileName(QString::fromStdString(options.recordFile.string()));
        if (!recordFile.open(QIODevice::WriteOnly | QIODevice::Append))
            throw std::runtime_error("cannot write " + options.recordFile.string());
    }
}

void LoopbackService::State::openChannel(QWebSocket* socket) {
    channels.append(socket);
    const QByteArray target = socket->requestUrl().toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority);
    QObject::connect(socket, &QWebSocket::textMessageReceived, socket, [this, target](const QString& text) {
        Received entry;
        entry.kind = Received::Kind::message;
        entry.body = text.toUtf8();
        entry.target = target;
        note(entry);
    });
    QObject::connect(socket, &QWebSocket::pong, socket, [this, target](quint64, const QByteArray& payload) {
        Received entry;
        entry.kind = Received::Kind::pong;
        entry.body = payload;
        entry.target = target;
        note(entry);
    });
    // QWebSocket reports a normal closure even when no close frame came.
    auto closed = std::make_shared<bool>(false);
    QObject::connect(socket, &QWebSocket::aboutToClose, socket, [closed] { *closed = true; });
    QObject::connect(socket, &QWebSocket::disconnected, socket, [this, socket, target, closed] {
        channels.removeOne(socket);
        Received entry;
        entry.kind = Received::Kind::close;
        entry.closeCode = *closed ? socket->closeCode() : 1006;
        entry.target = target;
        note(entry);
        socket->deleteLater();
    });
}

void LoopbackService::State::onChannels(const std::function<void(QWebSocket&)>& act) {
    const auto open = channels; // a channel removes itself from the list when it ends
    for (QWebSocket* channel : open)
        act(*channel);
}

void LoopbackService::State::note(Received entry) {
    if (recordFile.isOpen()) {
        recordFile.write(QJsonDocument(entry.toJson()).toJson(QJsonDocument::Compact) + '\n');
        recordFile.flush();
    }
    received.push_back(std::move(entry));
}

std::optional<Misbehaviour> LoopbackService::State::ruleFor(const QByteArray& requestLine) {
    for (Misbehaviour& rule : rules) {
        if (rule.times == 0 || !requestLine.startsWith(rule.match))
            continue;
        if (rule.times > 0)
            --rule.times;
        return rule;
    }
    return std::nullopt;
}

LoopbackService::LoopbackService() : LoopbackService(Options()) {}

LoopbackService::LoopbackService(Options options) : state(std::make_unique<State>()) {
    state->options = std::move(options);
    std::exception_ptr failure;
    state->queue.sync([&] {
        try {
            state->listen();
        } catch (...) {
            state->server.reset();
            state->webSockets.reset();
            failure = std::current_exception();
        }
    });
    if (failure)
        std::rethrow_exception(failure);
}

LoopbackService::~LoopbackService() {
    state->queue.sync([this] {
        const auto open = state->channels;
        qDeleteAll(open);
        state->webSockets.reset();
        state->server.reset(); // deletes its connections too
    });
}

QUrl LoopbackService::baseURL() const {
    return state->baseURL;
}

void LoopbackService::setStoreURL(const QString& url) {
    state->queue.sync([&] { state->storeURL = url; });
}

void LoopbackService::setLiveURL(const QString& url) {
    state->queue.sync([&] { state->liveURL = url; });
}

void LoopbackService::misbehave(Misbehaviour rule) {
    state->queue.sync([&] { state->rules.push_back(std::move(rule)); });
}

void LoopbackService::behave() {
    state->queue.sync([&] { state->rules.clear(); });
}

std::vector<Received> LoopbackService::received() const {
    std::vector<Received> copy;
    state->queue.sync([&] { copy = state->received; });
    return copy;
}

std::vector<Received> LoopbackService::received(const QByteArray& linePrefix) const {
    std::vector<Received> all = received();
    std::erase_if(all, [&](const Received& entry) { return !entry.line().startsWith(linePrefix); });
    return all;
}

QList<QByteArray> LoopbackService::lines() const {
    QList<QByteArray> all;
    for (const Received& entry : received())
        all << entry.line();
    return all;
}

QList<QByteArray> LoopbackService::requestLines() const {
    QList<QByteArray> requests;
    for (const Received& entry : received())
        if (entry.kind == Received::Kind::request)
            requests << entry.line();
    return requests;
}

QList<QByteArray> LoopbackService::channelLines() const {
    QList<QByteArray> others;
    for (const Received& entry : received())
        if (entry.kind != Received::Kind::request)
            others << entry.line();
    return others;
}

void LoopbackService::forget() {
    state->queue.sync([&] { state->received.clear(); });
}

int LoopbackService::openChannels() const {
    int count = 0;
    state->queue.sync([&] { count = static_cast<int>(state->channels.size()); });
    return count;
}

void LoopbackService::sendText(const QString& text) {
    state->queue.sync(
        [&] { state->onChannels([&](QWebSocket& channel) { channel.sendTextMessage(text); }); });
}

void LoopbackService::ping(const QByteArray& payload) {
    state->queue.sync([&] { state->onChannels([&](QWebSocket& channel) { channel.ping(payload); }); });
}

void LoopbackService::closeChannels(int code) {
    state->queue.sync([&] {
        state->onChannels([&](QWebSocket& channel) { channel.close(QWebSocketProtocol::CloseCode(code)); });
    });
}

void LoopbackService::dropChannels() {
    state->queue.sync([&] { state->onChannels([](QWebSocket& channel) { channel.abort(); }); });
}

} // namespace tavro::test
