#include "Backend/HTTPBackend.h"
#include "Backend/LiveChannel.h"

#include "support/LoopbackService.h"
#include "support/Programs.h"
#include "support/TestSupport.h"

#include <QAbstractSocket>
#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QProcess>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QTcpServer>
#include <QTcpSocket>

#include <curl/curl.h>

// Servers by other authors: nginx with WebDAV as the object store, the Python websockets package as the live
// channel's peer, both also with certificates of a private authority.
namespace tavro::test {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

QString text(const fs::path& path) {
    return QString::fromStdString(path.string());
}

QString localhost(const char* scheme, int port, const char* path) {
    return QStringLiteral("%1://localhost:%2%3")
        .arg(QLatin1String(scheme))
        .arg(port)
        .arg(QLatin1String(path));
}

struct PrivateAuthority {
    TemporaryFolder folder;
    fs::path authority = folder.path() / "ca.pem";
    fs::path certificate = folder.path() / "server.pem";
    fs::path key = folder.path() / "server.key";

    PrivateAuthority() {
        const auto openssl = [&](const char* line) {
            outputOf(u"openssl"_qs, QString::fromLatin1(line).split(QLatin1Char(' ')), folder.path());
        };
        openssl(
            "req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -days 2 -subj /CN=Tavro-Test-CA");
        openssl("req -newkey rsa:2048 -nodes -keyout server.key -out server.csr -subj /CN=localhost");
        writeFile(folder.path() / "names", "subjectAltName=DNS:localhost,IP:127.0.0.1\n");
        openssl("x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 2 -extfile names "
                "-out server.pem");
    }
};

/// Adds the authority to the system's in this program.
class Trusting {
public:
    explicit Trusting(const PrivateAuthority& authority) {
        QSslConfiguration tls = before;
        tls.addCaCertificates(QSslCertificate::fromPath(text(authority.authority)));
        QSslConfiguration::setDefaultConfiguration(tls);
    }
    ~Trusting() { QSslConfiguration::setDefaultConfiguration(before); }

private:
    const QSslConfiguration before = QSslConfiguration::defaultConfiguration();
};

quint16 freePort() {
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

class Nginx {
public:
    explicit Nginx(const PrivateAuthority* tls = nullptr) {
        fs::create_directory(folder.path() / "store");
        fs::permissions(folder.path(), fs::perms::all);
        const QString config =
            QStringLiteral("daemon off; pid pid; error_log stderr; worker_processes 1;\n"
                           "user root; events {} http { access_log off;\n"
                           "client_body_temp_path body; client_max_body_size 0;\n"
                           "server { listen 127.0.0.1:%1%2; root store;\n"
                           "location / { dav_methods PUT; create_full_put_path on; }\n"
                           "location /small { client_max_body_size 1k; dav_methods PUT; }\n"
                           "} }\n")
                .arg(port)
                .arg(tls ? QStringLiteral(" ssl; ssl_certificate %1; ssl_certificate_key %2")
                               .arg(text(tls->certificate), text(tls->key))
                         : QString());
        writeFile(folder.path() / "nginx.conf", config.toUtf8());
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(QStringLiteral("/usr/sbin/nginx"),
            {QStringLiteral("-p"), text(folder.path()), QStringLiteral("-c"), QStringLiteral("nginx.conf")});
        const bool listens = waitUntil([this] {
            QTcpSocket probe;
            probe.connectToHost(QHostAddress::LocalHost, port);
            return probe.waitForConnected(100);
        });
        if (!listens)
            throw std::runtime_error("nginx does not listen");
    }
    ~Nginx() {
        process.terminate();
        process.waitForFinished();
    }
    QString url(const char* path) const { return localhost(scheme, port, path); }
    fs::path stored(const char* name) const { return folder.path() / "store" / name; }

    const char* scheme = "http";

private:
    TemporaryFolder folder;
    const quint16 port = freePort();
    QProcess process;
};

class WebSocketPeer {
public:
    explicit WebSocketPeer(const PrivateAuthority* tls = nullptr) {
        QStringList arguments{QStringLiteral(TAVRO_TEST_FOLDER "/websocket_peer.py")};
        if (tls)
            arguments << text(tls->certificate) << text(tls->key);
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(QStringLiteral("/usr/bin/python3"), arguments);
        if (!waitUntil([this] { return !seen().isEmpty(); }))
            throw std::runtime_error("the peer does not start");
        port = notes.first()[u"port"].toInt();
        scheme = tls ? "wss" : "ws";
    }
    ~WebSocketPeer() {
        process.kill();
        process.waitForFinished();
    }
    QString url(const char* path) const { return localhost(scheme, port, path); }
    const QList<QJsonObject>& seen() {
        while (process.canReadLine())
            notes << QJsonDocument::fromJson(process.readLine()).object();
        return notes;
    }
    /// Waits for one of the kind.
    QJsonObject one(const char* kind) {
        QJsonObject found;
        waitUntil([&] {
            for (const QJsonObject& note : seen())
                if (note[u"kind"] == QLatin1String(kind))
                    found = note;
            return !found.isEmpty();
        });
        return found;
    }

private:
    QProcess process;
    QList<QJsonObject> notes;
    int port = 0;
    const char* scheme = "";
};

LoopbackService::Options securely(const PrivateAuthority& authority) {
    LoopbackService::Options options;
    options.certificate = authority.certificate;
    options.key = authority.key;
    options.host = u"localhost"_qs;
    return options;
}

QString newSession(HTTPBackend& http) {
    return await(http.createSession(u"scn_guest"_qs, std::nullopt, {})).session.id;
}

QByteArray hashOf(const fs::path& path) {
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    return file.open(QIODevice::ReadOnly) && hash.addData(&file) ? hash.result() : QByteArray();
}

/// Bytes without repetition that do not compress, in an uneven number.
fs::path makeVideo(const TemporaryFolder& folder) {
    QByteArray bytes(40'000'003, Qt::Uninitialized);
    quint32 state = 1;
    for (char& byte : bytes)
        byte = static_cast<char>((state = state * 1664525u + 1013904223u) >> 24);
    writeFile(folder.path() / "take.mp4", bytes);
    return folder.path() / "take.mp4";
}

TEST(ForeignServers, storeAFileByteForByte) {
    const PrivateAuthority authority;
    const Trusting trusting(authority);
    const TemporaryFolder folder;
    const fs::path video = makeVideo(folder);
    for (const bool secure : {false, true}) {
        SCOPED_TRACE(secure);
        Nginx nginx(secure ? &authority : nullptr);
        nginx.scheme = secure ? "https" : "http";
        auto service = secure ? std::make_unique<LoopbackService>(securely(authority))
                              : std::make_unique<LoopbackService>();
        HTTPBackend http(service->baseURL(), u"token-1"_qs);
        const QString id = newSession(http);
        service->setStoreURL(nginx.url("/a%20b/take.mp4?signature=x%2By"));
        for (int time = 0; time < 2; ++time) // created, then replaced
            EXPECT_EQ(await(http.uploadVideo(id, video)), u"videos/ses_1.mp4");
        EXPECT_EQ(hashOf(nginx.stored("a b/take.mp4")), hashOf(video));

        service->setStoreURL(nginx.url("/small/take.mp4")); // refused at the request's head
        EXPECT_EQ(errorOf([&] { await(http.uploadVideo(id, video)); }).text, u"notFound");
    }
}

TEST(ForeignServers, mayBreakASecureConnectionWithinAFile) {
    const PrivateAuthority authority;
    const Trusting trusting(authority);
    const TemporaryFolder folder;
    const fs::path video = makeVideo(folder);
    LoopbackService service(securely(authority));
    service.misbehave({.match = "PUT", .cutAfter = 1 << 20});
    HTTPBackend http(service.baseURL(), u"token-1"_qs);
    const QString id = newSession(http);
    EXPECT_EQ(errorOf([&] { await(http.uploadVideo(id, video)); }).domain, u"curl");
    EXPECT_TRUE(waitUntil([&] { return service.received("PUT").size() == 1; })); // and no second one
}

TEST(SecureService, isReachedFromAnOpenOneOfItsHostAndNotLeftForIt) {
    const PrivateAuthority authority;
    const Trusting trusting(authority);
    LoopbackService::Options openly;
    openly.host = u"localhost"_qs;
    LoopbackService open(openly), secure(securely(authority));
    const TemporaryFolder folder;
    writeFile(folder.path() / "take.mp4", "video");
    const auto sendOn = [](LoopbackService& from, const QByteArray& request, const LoopbackService& to,
                            int status = 307) {
        QUrl there = to.baseURL();
        there.setPath(QString::fromLatin1(request.mid(request.indexOf(' ') + 1)));
        from.misbehave({.match = request, .status = status, .headers = {{"Location", there.toEncoded()}}});
    };
    sendOn(open, "GET /api/app/me", secure);
    sendOn(open, "POST /api/app/projects/p/scenarios", secure, 301);
    HTTPBackend http(open.baseURL(), u"token-1"_qs);
    EXPECT_TRUE(await(http.currentUser()));
    EXPECT_EQ(secure.received("GET /api/app/me").at(0).headers["authorization"], "Bearer token-1");
    EXPECT_EQ(await(http.createScenario(u"p"_qs, u"Log in"_qs, {})).name, u"Log in");

    open.behave();
    open.forget();
    sendOn(secure, "GET /api/app/me", open);
    sendOn(secure, "PUT /store/ses_1", open);
    HTTPBackend https(secure.baseURL(), u"token-1"_qs);
    EXPECT_EQ(errorOf([&] { await(https.currentUser()); }).text, u"notFound");
    const QString id = newSession(https);
    EXPECT_EQ(errorOf([&] { await(https.uploadVideo(id, folder.path() / "take.mp4")); }).text, u"notFound");
    EXPECT_TRUE(open.received().empty());
}

TEST(ForeignServers, takeEventsAndPingAndAreClosedInOrder) {
    const PrivateAuthority authority;
    const Trusting trusting(authority);
    for (const bool secure : {false, true}) {
        SCOPED_TRACE(secure);
        WebSocketPeer peer(secure ? &authority : nullptr);
        LoopbackService service;
        service.setLiveURL(peer.url("/live"));
        HTTPBackend http(service.baseURL(), u"token-1"_qs);
        const QString id = newSession(http);
        await(http.sendEvent(id, event::Paused()));
        EXPECT_EQ(peer.one("open")[u"authorization"], u"Bearer token-1"_qs);
        EXPECT_EQ(peer.one("message")[u"text"], u"{\"type\":\"paused\"}"_qs);
        EXPECT_FALSE(peer.one("pong").isEmpty());
        await(http.finishSession(id, 93.25));
        const QJsonObject close = peer.one("close");
        EXPECT_EQ(close[u"code"], 1000);
        EXPECT_EQ(close[u"reason"], u""_qs);
        EXPECT_TRUE(peer.seen().contains(QJsonObject{{u"kind"_qs, u"message"_qs},
            {u"text"_qs, u"{\"durationSeconds\":93.25,\"type\":\"finished\"}"_qs}}));
    }
}

TEST(ForeignServers, arePingedWhileThereIsNothingToSay) {
    WebSocketPeer peer;
    const LiveChannel channel(QNetworkRequest(QUrl(peer.url("/live"))), 60s, 50ms);
    EXPECT_FALSE(peer.one("pinged").isEmpty());
}

TEST(ForeignServers, mayLeaveAndTheNextSendFails) {
    WebSocketPeer peer;
    LoopbackService service;
    service.setLiveURL(peer.url("/leave"));
    HTTPBackend http(service.baseURL(), u"token-1"_qs);
    const QString id = newSession(http);
    await(http.sendEvent(id, event::Paused()));
    EXPECT_EQ(peer.one("close")[u"code"], 4001); // answered
    const auto error = errorOf([&] { await(http.finishSession(id, 1)); });
    EXPECT_EQ(error.domain, u"QWebSocket");
    EXPECT_EQ(error.code, QAbstractSocket::RemoteHostClosedError);
    EXPECT_NO_THROW(await(http.deleteSession(id)));
}

TEST(ForeignServers, areNotTrustedWithoutTheirAuthority) {
    const PrivateAuthority authority;
    const TemporaryFolder folder;
    writeFile(folder.path() / "take.mp4", "video");

    LoopbackService secure(securely(authority));
    HTTPBackend toSecure(secure.baseURL(), u"token-1"_qs);
    const auto rest = errorOf([&] { newSession(toSecure); });
    EXPECT_EQ(rest.domain, u"QNetworkReply");
    EXPECT_EQ(rest.code, QNetworkReply::SslHandshakeFailedError);
    EXPECT_EQ(rest.cause.kind, Cause::serviceUntrusted);
    EXPECT_EQ(secure.lines(), QList<QByteArray>());

    Nginx nginx(&authority);
    nginx.scheme = "https";
    WebSocketPeer peer(&authority);
    LoopbackService service;
    service.setStoreURL(nginx.url("/take.mp4"));
    service.setLiveURL(peer.url("/live"));
    HTTPBackend http(service.baseURL(), u"token-1"_qs);
    const QString id = newSession(http);
    const struct {
        const char* domain;
        int code;
        std::function<void()> make;
    } calls[] = {{"curl", CURLE_PEER_FAILED_VERIFICATION,
                     [&] { await(http.uploadVideo(id, folder.path() / "take.mp4")); }},
        {"QWebSocket", QAbstractSocket::SslHandshakeFailedError,
            [&] { await(http.sendEvent(id, event::Paused())); }}};
    for (const auto& call : calls) {
        const auto error = errorOf(call.make);
        EXPECT_EQ(error.domain, QLatin1String(call.domain));
        EXPECT_EQ(error.code, call.code);
        EXPECT_EQ(error.cause.kind, Cause::serviceUntrusted);
        EXPECT_TRUE(error.localizedDescription.contains(u"certificate"_qs))
            << qPrintable(error.localizedDescription);
    }
    EXPECT_FALSE(fs::exists(nginx.stored("take.mp4")));
}

} // namespace

} // namespace tavro::test
