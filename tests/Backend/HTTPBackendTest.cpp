#include "Backend/HTTPUnderTest.h"
#include "Core/Version.h"

#include <QJsonDocument>
#include <QNetworkProxyFactory>
#include <QNetworkReply>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

#include <curl/curl.h>
#include <gmock/gmock-matchers.h>
#include <latch>

namespace tavro::test {

using namespace std::chrono_literals;

namespace {

QJsonObject object(const QByteArray& json) {
    return QJsonDocument::fromJson(json).object();
}

INSTANTIATE_TEST_SUITE_P(HTTP, BackendContract,
    testing::Values(BackendKind{"http", [] { return std::make_unique<HTTPUnderTest>(); }}),
    [](const auto& kind) { return kind.param.name; });

TEST(HTTPBackend, sendsAWholeTakeInItsOrder) {
    HTTPUnderTest t;
    const QString id = t.newSession();
    await(t.http->sendEvent(id, event::Paused()));
    await(t.http->sendEvent(id, event::Resumed()));
    await(t.http->finishSession(id, 93.25));
    EXPECT_EQ(await(t.http->uploadVideo(id, t.file())), u"videos/ses_1.mp4");
    await(t.http->sendEvent(id, event::Finished{93.25})); // dropped: the channel is closed

    EXPECT_EQ(t.channelUntilClosed(),
        (QList<QByteArray>{"handshake /live/ses_1", "message {\"type\":\"paused\"}",
            "message {\"type\":\"resumed\"}", "message {\"durationSeconds\":93.25,\"type\":\"finished\"}",
            "close 1000"}));
    EXPECT_EQ(t.service.requestLines(),
        (QList<QByteArray>{"POST /api/app/sessions", "POST /api/app/sessions/ses_1/upload-url",
            "PUT /store/ses_1/video.mp4?signature=a%2Fb%2Bc",
            "POST /api/app/sessions/ses_1/video-uploaded"}));
    for (const Received& entry : t.service.received()) {
        SCOPED_TRACE(entry.line().toStdString());
        if (entry.kind == Received::Kind::handshake || entry.target.startsWith("/api/"))
            EXPECT_EQ(entry.headers.value("authorization"), "Bearer token-1");
        else
            EXPECT_FALSE(entry.headers.contains("authorization"));
        if (entry.kind == Received::Kind::request) {
            EXPECT_EQ(entry.headers.value("content-length"), QByteArray::number(qint64(entry.bodySize)));
            EXPECT_EQ(entry.headers.value("user-agent"), userAgent);
        }
    }
    const auto only = [&](const char* line) { return t.service.received(line).at(0); };
    EXPECT_EQ(only("POST /api/app/sessions").headers.value("content-type"), "application/json");
    EXPECT_EQ(only("PUT").headers.value("content-type"), "video/mp4");
    EXPECT_EQ(only("POST /api/app/sessions/ses_1/upload-url").body, R"({"contentType":"video/mp4"})");
    EXPECT_EQ(only("POST /api/app/sessions/ses_1/video-uploaded").body, R"({"key":"videos/ses_1.mp4"})");
}

TEST(HTTPBackend, sendsADeletedTakeInItsOrder) {
    HTTPUnderTest t;
    const QString id = t.newSession();
    await(t.http->sendEvent(id, event::Deleted()));
    await(t.http->deleteSession(id));
    EXPECT_EQ(
        t.channelUntilClosed(), (QList<QByteArray>{"handshake /live/ses_1", "message {\"type\":\"deleted\"}",
                                    "message {\"type\":\"deleted\"}", "close 1000"}));
    EXPECT_EQ(t.service.requestLines(),
        (QList<QByteArray>{"POST /api/app/sessions", "DELETE /api/app/sessions/ses_1"}));
    const Received deletion = t.service.received("DELETE").at(0);
    EXPECT_FALSE(deletion.headers.contains("content-type"));
    EXPECT_EQ(deletion.bodySize, 0);
}

TEST(HTTPBackend, describesTheSessionToTheService) {
    HTTPUnderTest t;
    const struct {
        std::optional<QString> appUrl;
        CaptureTargetMeta target;
        QByteArray json;
    } cases[] = {
        {std::nullopt, display,
            R"({"scenarioId":"s","appUrl":null,"captureKind":"display","captureLabel":"Display 1"})"},
        {u"https://shop.example/?ü"_qs, {CaptureKind::window, u"4711"_qs, u"Shop “1”"_qs},
            R"({"scenarioId":"s","appUrl":"https://shop.example/?ü","captureKind":"window","captureLabel":"Shop “1”"})"},
    };
    for (const auto& c : cases) {
        await(t.http->createSession(u"s"_qs, c.appUrl, c.target));
        EXPECT_EQ(object(t.service.received("POST").back().body), object(c.json));
    }
}

TEST(HTTPBackend, putsItsPathsInPlaceOfTheBaseAddresss) {
    LoopbackService service;
    const QString host = service.baseURL().toString();
    const struct {
        QString base, project;
        QByteArray target;
    } cases[] = {
        {host + u"/"_qs, u"p"_qs, "/api/app/projects/p/scenarios"},
        {host + u"/of/its/own"_qs, u"p"_qs, "/api/app/projects/p/scenarios"},
        {host + u"/x?tenant=1"_qs, u"p"_qs, "/api/app/projects/p/scenarios?tenant=1"},
        {host, u"a b%2Fü?#"_qs, "/api/app/projects/a%20b%252F%C3%BC%3F%23/scenarios"},
    };
    for (const auto& c : cases) {
        service.forget();
        HTTPBackend http(QUrl(c.base), token);
        EXPECT_EQ(await(http.listScenarios(c.project)).size(), 0u);
        EXPECT_EQ(service.lines(), QList<QByteArray>{"GET " + c.target});
    }
    for (const QString& impossible : {u""_qs, u"http://["_qs, u"http://host:port"_qs}) {
        HTTPBackend http(QUrl(impossible, QUrl::StrictMode), token);
        EXPECT_EQ(errorOf([&] { await(http.currentUser()); }).text, u"notFound");
    }
}

struct Call {
    const char* request;
    bool decodes;
    std::function<void(HTTPUnderTest&)> make;
};
const Call calls[] = {
    {"GET /api/app/me", true, [](auto& t) { await(t.http->currentUser()); }},
    {"GET /api/app/projects", true, [](auto& t) { await(t.http->listProjects()); }},
    {"GET /api/app/projects/p/scenarios", true, [](auto& t) { await(t.http->listScenarios(u"p"_qs)); }},
    {"POST /api/app/projects/p/scenarios", true,
        [](auto& t) { await(t.http->createScenario(u"p"_qs, u"n"_qs, {})); }},
    {"POST /api/app/sessions", true, [](auto& t) { t.newSession(); }},
    {"POST /api/app/sessions/ses_1/upload-url", true,
        [](auto& t) { await(t.http->uploadVideo(t.newSession(), t.file())); }},
    {"PUT /store/ses_1", false, [](auto& t) { await(t.http->uploadVideo(t.newSession(), t.file())); }},
    {"POST /api/app/sessions/ses_1/video-uploaded", false,
        [](auto& t) { await(t.http->uploadVideo(t.newSession(), t.file())); }},
    {"DELETE /api/app/sessions/ses_1", false, [](auto& t) { await(t.http->deleteSession(t.newSession())); }},
};

TEST(HTTPBackend, refusesEveryStatusButA2xx) {
    for (const Call& call : calls)
        for (const int status : {301, 400, 401, 404, 500, 503}) {
            SCOPED_TRACE(std::string(call.request) + " " + std::to_string(status));
            HTTPUnderTest t;
            t.service.misbehave({.match = call.request, .status = status});
            EXPECT_EQ(errorOf([&] { call.make(t); }).text, u"notFound");
            EXPECT_TRUE(t.service.requestLines().last().startsWith(call.request)) << "went on";
        }
}

TEST(HTTPBackend, looksAtTheBodyOnlyWhereItIsDecoded) {
    for (const Call& call : calls)
        for (const QByteArray& rubbish :
            {QByteArray("<html>"), QByteArray("{}"), QByteArray("[1]"), QByteArray("")}) {
            SCOPED_TRACE(call.request + (" " + rubbish.toStdString()));
            HTTPUnderTest t;
            t.service.misbehave({.match = call.request, .status = 201, .body = rubbish});
            if (call.decodes) {
                EXPECT_EQ(errorOf([&] { call.make(t); }).domain, u"Tavro.JSON");
            } else {
                EXPECT_NO_THROW(call.make(t));
            }
        }
}

TEST(HTTPBackend, passesOnThatTheConnectionBreaks) {
    for (const Call& call : calls) {
        SCOPED_TRACE(call.request);
        HTTPUnderTest t;
        t.service.misbehave({.match = call.request, .cutAfter = 0});
        const auto error = errorOf([&] { call.make(t); });
        if (call.request[1] == 'U') {
            EXPECT_EQ(error.domain, u"curl");
            EXPECT_THAT(error.code, testing::AnyOf(CURLE_SEND_ERROR, CURLE_RECV_ERROR, CURLE_GOT_NOTHING));
        } else {
            expectError(error, u"QNetworkReply", QNetworkReply::RemoteHostClosedError, u"Connection closed");
        }
        if (call.request[0] == 'P') {
            const auto times = [&] { return t.service.received(call.request).size(); };
            EXPECT_TRUE(waitUntil([&] { return times() > 0; })); // noted once it is cut
            EXPECT_EQ(times(), 1u) << "sent again";
        }
    }
}

TEST(HTTPBackend, passesOnThatNobodyIsThere) {
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    const QString nobody = u"127.0.0.1:%1"_qs.arg(server.serverPort());
    server.close();
    HTTPBackend http(QUrl(u"http://"_qs + nobody), token);
    expectError(errorOf([&] { await(http.currentUser()); }), u"QNetworkReply",
        QNetworkReply::ConnectionRefusedError, u"Connection refused");

    HTTPUnderTest t;
    t.service.setStoreURL(u"http://%1/video"_qs.arg(nobody));
    const auto error = errorOf([&] { await(t.http->uploadVideo(t.newSession(), t.file())); });
    EXPECT_EQ(error.domain, u"curl");
    EXPECT_EQ(error.code, CURLE_COULDNT_CONNECT);
    EXPECT_TRUE(error.text.contains(u"Couldn't connect to server"_qs)) << qPrintable(error.text);
}

TEST(HTTPBackend, touchesNoLocalFileForAnAddress) {
    const TemporaryFolder folder;
    const QString place = u"file://%1/written"_qs.arg(QString::fromStdString(folder.path().string()));
    HTTPUnderTest t;
    t.service.setStoreURL(place);
    expectError(errorOf([&] { await(t.http->uploadVideo(t.newSession(), t.file())); }), u"QNetworkReply",
        QNetworkReply::ProtocolUnknownError, u"Protocol \"file\" is unknown");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    HTTPBackend http(QUrl(u"file:///etc"_qs), token);
    expectError(errorOf([&] { await(http.currentUser()); }), u"QNetworkReply",
        QNetworkReply::ProtocolUnknownError, u"Protocol \"file\" is unknown");
}

TEST(HTTPBackend, refusesAddressesThatAreNone) {
    for (const QString& none : {u""_qs, u"http://["_qs, u"https://host/a b"_qs, u"http://host:port/"_qs}) {
        SCOPED_TRACE(none.toStdString());
        HTTPUnderTest t;
        t.service.setLiveURL(none.isEmpty() ? u" "_qs : none);
        EXPECT_EQ(errorOf([&] { t.newSession(); }).text, u"notFound");
        t.service.setLiveURL({});
        t.service.setStoreURL(none.isEmpty() ? u" "_qs : none);
        EXPECT_EQ(errorOf([&] { await(t.http->uploadVideo(t.newSession(), t.file())); }).text, u"notFound");
        EXPECT_EQ(t.service.received("POST /api/app/sessions/ses_2/video-uploaded").size(), 0u);
    }
}

TEST(HTTPBackend, followsRedirectionsButTakesTheTokenNowhereElse) {
    LoopbackService elsewhere;
    const auto location = [](const QUrl& to) {
        return QHash<QByteArray, QByteArray>{{"Location", to.toEncoded()}};
    };
    const struct {
        int status;
        const char* request;
        bool here;
        QList<QByteArray> then; // requests at the redirection's target
        bool works;
    } cases[] = {
        {302, "GET /api/app/me", true, {"GET /api/app/me"}, true},
        {307, "POST /api/app/projects/p/scenarios", true, {"POST /api/app/projects/p/scenarios"}, true},
        {303, "POST /api/app/sessions", true, {"GET /api/app/sessions"}, false},
        {302, "GET /api/app/me", false, {}, false},
        {307, "POST /api/app/sessions", false, {}, false},
        {307, "PUT /store/ses_1", false, {"PUT /store/ses_1"}, true},
        {308, "PUT /store/ses_1", false, {"PUT /store/ses_1"}, true},
        {302, "PUT /store/ses_1", false, {}, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.status) + " " + c.request + (c.here ? " here" : " elsewhere"));
        HTTPUnderTest t;
        elsewhere.forget();
        QUrl to = c.here ? t.service.baseURL() : elsewhere.baseURL();
        to.setPath(QString::fromLatin1(QByteArray(c.request).mid(QByteArray(c.request).indexOf(' ') + 1)));
        t.service.misbehave({.match = c.request, .times = 1, .status = c.status, .headers = location(to)});
        const auto call = std::find_if(std::begin(calls), std::end(calls),
            [&](const Call& one) { return QByteArray(one.request) == c.request; });
        if (c.works) {
            EXPECT_NO_THROW(call->make(t));
        } else {
            EXPECT_EQ(errorOf([&] { call->make(t); }).text, u"notFound");
        }
        QList<QByteArray> then = c.here ? t.service.requestLines() : elsewhere.lines();
        if (c.here)
            then = then.mid(then.indexOf(c.request) + 1, 1);
        EXPECT_EQ(then, c.then);
        for (const Received& entry : elsewhere.received()) {
            EXPECT_FALSE(entry.headers.contains("authorization"));
            EXPECT_EQ(entry.body, "video");
        }
    }
}

TEST(HTTPBackend, waitsForAsLongAsSomethingMoves) {
    HTTPUnderTest t;
    t.http = std::make_unique<HTTPBackend>(t.service.baseURL(), token, 600ms);
    const QString id = t.newSession();
    // An answer of some 100 bytes takes a second, a body of 20 MB several times the limit. Both succeed.
    t.service.misbehave({.match = "GET /api/app/projects", .dribble = 10ms});
    EXPECT_EQ(await(t.http->listProjects()).size(), 1u);
    t.service.misbehave({.match = "PUT", .times = 1, .readChunk = 1 << 16, .readEvery = 5ms});
    EXPECT_EQ(await(t.http->uploadVideo(id, t.file(QByteArray(20 << 20, 'v')))), u"videos/ses_1.mp4");
    EXPECT_EQ(t.service.received("PUT").back().bodySize, 20 << 20);

    const QString text = u"Socket operation timed out"_qs;
    t.service.misbehave({.match = "GET /api/app/me", .delay = 1h});
    expectError(
        errorOf([&] { await(t.http->currentUser()); }), u"QNetworkReply", QNetworkReply::TimeoutError, text);
    t.service.misbehave({.match = "PUT", .readChunk = 1 << 20, .readEvery = 0ms});
    expectError(errorOf([&] { await(t.http->uploadVideo(id, t.file(QByteArray(20 << 20, 'v')))); }), u"curl",
        CURLE_OPERATION_TIMEDOUT, text);
    t.service.misbehave({.match = "GET /live", .delay = 1h});
    const QString next = t.newSession();
    expectError(errorOf([&] { await(t.http->sendEvent(next, event::Paused())); }), u"QWebSocket",
        QAbstractSocket::SocketTimeoutError, text);
}

TEST(HTTPBackend, endsAnAnswerThatIsTooLongOrDoesNotEnd) {
    const QByteArray long20MB(20 << 20, ' ');
    const struct {
        Misbehaviour how;
        std::chrono::milliseconds timeout;
        QNetworkReply::NetworkError code;
    } cases[] = {
        {{.match = "GET", .body = QByteArray(2'000, ' '), .dribble = 5ms}, 300ms,
            QNetworkReply::TimeoutError},
        {{.match = "GET", .body = long20MB}, 60s, QNetworkReply::UnknownContentError},
        {{.match = "GET", .status = 500, .body = long20MB}, 60s, QNetworkReply::UnknownContentError},
    };
    HTTPUnderTest t;
    for (const auto& c : cases) {
        t.service.behave();
        t.service.misbehave(c.how);
        HTTPBackend http(t.service.baseURL(), token, c.timeout);
        const auto error = errorOf([&] { await(http.currentUser()); });
        EXPECT_EQ(error.domain, u"QNetworkReply");
        EXPECT_EQ(error.code, c.code);
    }
}

TEST(HTTPBackend, takesADeleteForDoneThatFindsNothingTheSecondTime) {
    HTTPUnderTest t;
    const QString id = t.newSession();
    t.service.misbehave({.match = "DELETE", .times = 1, .cutAfter = 0});
    t.service.misbehave({.match = "DELETE", .status = 404});
    EXPECT_NO_THROW(await(t.http->deleteSession(id)));
    EXPECT_TRUE(waitUntil([&] { return t.service.received("DELETE").size() == 2; }));
}

// The loopback service is never proxied; the other addresses that it names are.
TEST(HTTPBackend, goesThroughTheSystemsProxies) {
    QTcpServer proxy;
    proxy.listen(QHostAddress::LocalHost);
    QList<QByteArray> asked;
    QObject::connect(&proxy, &QTcpServer::newConnection, &proxy, [&] {
        QTcpSocket* socket = proxy.nextPendingConnection();
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [&asked, socket] {
            asked << socket->readLine().trimmed();
            socket->close();
        });
    });
    const QByteArray address = "http://127.0.0.1:" + QByteArray::number(proxy.serverPort());
    const ScopedEnvironment http("http_proxy", address), https("https_proxy", address), none("no_proxy", "");
    QNetworkProxyFactory::setUseSystemConfiguration(true);

    const struct {
        const char* store;
        const char* live;
        QList<QByteArray> asks;
    } cases[] = {
        {"http://store.example/a?b=%2F", "ws://live.example/",
            {"CONNECT live.example:80 HTTP/1.1", "PUT http://store.example/a?b=%2F HTTP/1.1"}},
        {"https://store.example/a", "wss://live.example/",
            {"CONNECT live.example:443 HTTP/1.1", "CONNECT store.example:443 HTTP/1.1"}},
    };
    for (const auto& c : cases) {
        HTTPUnderTest t;
        asked.clear();
        t.service.setStoreURL(QLatin1String(c.store));
        t.service.setLiveURL(QLatin1String(c.live));
        const QString id = t.newSession();
        EXPECT_EQ(errorOf([&] { await(t.http->sendEvent(id, event::Paused())); }).domain, u"QWebSocket");
        EXPECT_EQ(errorOf([&] { await(t.http->uploadVideo(id, t.file())); }).domain, u"curl");
        EXPECT_EQ(asked, c.asks);
    }
    asked.clear();
    HTTPBackend remote(QUrl(u"http://service.example"_qs), token);
    EXPECT_EQ(errorOf([&] { await(remote.currentUser()); }).domain, u"QNetworkReply");
    ASSERT_FALSE(asked.isEmpty());
    EXPECT_EQ(asked.first(), "GET http://service.example/api/app/me HTTP/1.1");
    QNetworkProxyFactory::setUseSystemConfiguration(false);
}

TEST(HTTPBackend, endsWhatIsUnderWayWhenItGoes) {
    HTTPUnderTest t;
    t.service.misbehave({.match = "GET /api/app/me", .delay = 1h});
    t.service.misbehave({.match = "PUT", .readChunk = 1 << 20, .readEvery = 0ms});
    t.service.misbehave({.match = "GET /live", .delay = 1h});
    const QString id = t.newSession();
    auto user = t.http->currentUser();
    auto upload = t.http->uploadVideo(id, t.file(QByteArray(20 << 20, 'v')));
    auto send = t.http->sendEvent(id, event::Paused());
    EXPECT_TRUE(waitUntil([&] { return t.service.lines().size() >= 4; }));
    t.http.reset();
    for (const auto& end : std::vector<std::function<void()>>{[&] { await(std::move(user)); },
             [&] { await(std::move(upload)); }, [&] { await(std::move(send)); }})
        EXPECT_EQ(errorOf(end).localizedDescription, u"Operation canceled");
}

TEST(HTTPBackend, servesFourThreadsAtOnce) {
    HTTPUnderTest t;
    const QString id = t.newSession();
    const auto path = t.file(QByteArray(300'000, 'v'));
    constexpr int threads = 4, rounds = 10;
    std::latch start(threads), done(threads);
    std::vector<std::unique_ptr<QThread>> callers;
    for (int i = 0; i < threads; ++i) {
        callers.emplace_back(QThread::create([&, i] {
            start.arrive_and_wait();
            for (int round = 0; round < rounds; ++round) {
                t.http->setUploadProgress([](std::int64_t, std::int64_t) {});
                EXPECT_EQ(await(t.http->currentUser())->id, u"usr_1");
                EXPECT_EQ(await(t.http->listProjects()).size(), 1u);
                await(t.http->sendEvent(id, Marker{QString::number(i), id, double(round), {}, {}}));
                if (round % 5 == 0)
                    await(t.http->uploadVideo(id, path));
            }
            done.count_down();
        }));
        callers.back()->start();
    }
    done.wait();
    for (const auto& caller : callers)
        caller->wait();
    EXPECT_TRUE(waitUntil([&] { return t.events(id).size() == threads * rounds; }));
}

} // namespace

} // namespace tavro::test
