#include "Backend/HTTPUnderTest.h"

#include <QCryptographicHash>
#include <QTcpServer>
#include <QTcpSocket>

#include <thread>

namespace tavro::test {

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
        EXPECT_EQ(errorOf([&] { await(t.http->uploadVideo(id, path)); }).domain, u"QAbstractSocket") << byte;
        EXPECT_EQ(t.service.received("PUT").size(), 1u);
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
        {QByteArray(70'000, 'x'), u"The server's answer is not HTTP"_qs},
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

} // namespace

} // namespace tavro::test
