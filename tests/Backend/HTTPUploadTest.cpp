#include "Backend/HTTPUnderTest.h"

#include <QCryptographicHash>
#include <QNetworkProxy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <thread>

namespace tavro::test {

using namespace std::chrono_literals;

namespace {

TEST(HTTPUpload, uploadsTheFileAndTellsHowFarItHasCome) {
    HTTPUnderTest t;
    const QString id = t.newSession();
    QByteArray bytes(5'000'000, 0);
    for (qsizetype i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i * 2654435761u >> 13);
    const auto path = t.file(bytes);
    for (const bool listens : {true, false}) {
        std::vector<std::int64_t> told;
        const auto thread = std::this_thread::get_id();
        t.http->setUploadProgress([&](std::int64_t sent, std::int64_t total) {
            EXPECT_EQ(std::this_thread::get_id(), thread);
            EXPECT_EQ(total, bytes.size());
            told.push_back(sent);
        });
        if (!listens)
            t.http->setUploadProgress({});
        await(t.http->uploadVideo(id, path));
        EXPECT_EQ(t.service.received("PUT").back().sha256,
            QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
        if (listens) {
            EXPECT_TRUE(waitUntil([&] { return !told.empty() && told.back() == bytes.size(); }));
            EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
        } else {
            EXPECT_TRUE(told.empty());
        }
    }
    await(t.http->uploadVideo(id, t.file({})));
    EXPECT_EQ(t.service.received("PUT").back().headers.value("content-length"), "0");
}

TEST(HTTPUpload, givesAnUploadUpOnceItIsRefused) {
    HTTPUnderTest t;
    const QString id = t.newSession();
    const auto path = t.file(QByteArray(8 << 20, 'v'));
    for (const std::int64_t byte : {1, 70'000, 8 << 20}) {
        t.service.behave();
        t.service.forget();
        t.service.misbehave({.match = "PUT", .cutAfter = byte});
        EXPECT_EQ(errorOf([&] { await(t.http->uploadVideo(id, path)); }).domain, u"curl") << byte;
        EXPECT_TRUE(waitUntil([&] { return t.service.received("PUT").size() == 1; })); // noted once it is cut
        EXPECT_EQ(t.service.received("POST /api/app/sessions/ses_1/video-uploaded").size(), 0u);
        EXPECT_TRUE(std::filesystem::exists(path));
    }
}

// What the service may answer before it has the whole file, and what becomes of the upload.
TEST(HTTPUpload, readsTheAnswerToAnUploadWhenItComes) {
    const struct {
        QByteArray answer;
        QString error; // empty: none
    } cases[] = {
        {"HTTP/1.1 403 Forbidden\r\nContent-Length: 9\r\n\r\nforbidden", u"notFound"_qs},
        {"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 413 Too Large\r\n\r\n", u"notFound"_qs},
        {"HTTP/1.1 200 OK\r\n\r\n", u"The server answered before it had the whole file"_qs},
        {"SSH-2.0-OpenSSH\r\n\r\n", u"notFound"_qs},
        {QByteArray(70'000, 'x'), u"notFound"_qs},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.answer.left(30).toStdString());
        HTTPUnderTest t;
        QTcpServer server;
        server.listen(QHostAddress::LocalHost);
        QObject::connect(&server, &QTcpServer::newConnection, &server, [&] {
            QTcpSocket* socket = server.nextPendingConnection();
            socket->setReadBufferSize(1);
            socket->write(c.answer);
        });
        t.service.setStoreURL(u"http://127.0.0.1:%1/x"_qs.arg(server.serverPort()));
        const auto path = t.file(QByteArray(32 << 20, 'v'));
        const auto error = errorOf([&] { await(t.http->uploadVideo(t.newSession(), path)); });
        EXPECT_TRUE(error.text.contains(c.error)) << qPrintable(error.text);
    }
}

// The rest of the file stays unread, so that the refusal and the connection's reset arrive together.
TEST(HTTPUpload, readsARefusalAlsoWhenTheServiceClosesAfterIt) {
    HTTPUnderTest t;
    const QString id = t.newSession();
    const auto path = t.file(QByteArray(32 << 20, 'v'));
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    std::chrono::milliseconds delay = 200ms; // the upload waits by then
    QObject::connect(&server, &QTcpServer::newConnection, &server, [&] {
        QTcpSocket* socket = server.nextPendingConnection();
        socket->setReadBufferSize(1);
        QTimer::singleShot(delay, socket, [socket] {
            socket->write("HTTP/1.1 403 Forbidden\r\nContent-Length: 9\r\n\r\nforbidden");
            socket->disconnectFromHost();
        });
    });
    t.service.setStoreURL(u"http://127.0.0.1:%1/x"_qs.arg(server.serverPort()));
    for (int time = 0; time < 60; ++time) {
        EXPECT_EQ(errorOf([&] { await(t.http->uploadVideo(id, path)); }).text, u"notFound") << time;
        delay = 0ms; // it is sending
    }
}

// What a proxy is asked for, with its credentials; a name is looked up by the proxy.
TEST(HTTPUpload, asksProxiesOfBothKinds) {
    const struct {
        QNetworkProxy::ProxyType type;
        QByteArray answers[2]; // to what comes first and next
        QList<QByteArray> asks;
    } cases[] = {
        {QNetworkProxy::HttpProxy, {"HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n", {}},
            {"PUT http://store.example/x?a=%2F HTTP/1.1\r\n",
                "Proxy-Authorization: Basic " + QByteArray("tess:p@ss").toBase64() + "\r\n",
                "Content-Length: 5\r\n"}},
        {QNetworkProxy::Socks5Proxy, {QByteArray("\x05\x02", 2), QByteArray("\x01\x00", 2)},
            {"\x04tess\x04p@ss", "\x0dstore.example"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(int(c.type));
        QTcpServer server;
        server.listen(QHostAddress::LocalHost);
        QByteArray asked;
        QObject::connect(&server, &QTcpServer::newConnection, &server, [&] {
            QTcpSocket* socket = server.nextPendingConnection();
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [&, socket, answered = 0]() mutable {
                asked += socket->readAll();
                if (answered < 2)
                    socket->write(c.answers[answered++]);
                else
                    socket->disconnectFromHost();
            });
        });
        QNetworkProxy::setApplicationProxy(
            {c.type, u"127.0.0.1"_qs, server.serverPort(), u"tess"_qs, u"p@ss"_qs});
        HTTPUnderTest t;
        t.service.setStoreURL(u"http://store.example/x?a=%2F"_qs);
        EXPECT_NE(errorOf([&] { await(t.http->uploadVideo(t.newSession(), t.file())); }).text, u"");
        QNetworkProxy::setApplicationProxy({QNetworkProxy::DefaultProxy});
        for (const QByteArray& ask : c.asks)
            EXPECT_TRUE(asked.contains(ask)) << ask.toStdString() << " in " << asked.toStdString();
        EXPECT_FALSE(asked.contains("Expect:"));
        EXPECT_FALSE(asked.contains("\nAuthorization:"));
    }
}

} // namespace

} // namespace tavro::test
