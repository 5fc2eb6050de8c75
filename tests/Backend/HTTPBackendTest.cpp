#include "Backend/HTTPBackend.h"

#include "Backend/ModelsJson.h"

#include "Backend/BackendContract.h"
#include "support/LoopbackService.h"
#include "support/TestSupport.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QTcpServer>

#include <latch>
#include <thread>

namespace tavro::test {

using namespace std::chrono_literals;

namespace {

const CaptureTargetMeta display{CaptureKind::display, u"1"_qs, u"Display 1"_qs};
const QString token = u"token-1"_qs;

struct HTTPUnderTest final : BackendUnderTest {
    LoopbackService service;
    std::unique_ptr<HTTPBackend> http = std::make_unique<HTTPBackend>(service.baseURL(), token);
    TemporaryFolder folder;

    BackendClient& client() override { return *http; }
    std::vector<LiveEvent> events(const QString& id) override {
        std::vector<LiveEvent> arrived;
        for (const Received& entry : service.received("message "))
            if (entry.target.endsWith(id.toUtf8()))
                arrived.push_back(decodeJson<LiveEvent>(entry.body));
        return arrived;
    }
    QByteArray video(const QString& id) override {
        const auto uploads = service.received("PUT /store/" + id.toUtf8());
        return uploads.empty() ? QByteArray() : uploads.back().body;
    }

    QString newSession() {
        return await(http->createSession(u"scn_guest"_qs, std::nullopt, display)).session.id;
    }
    std::filesystem::path file(const QByteArray& bytes = "video") {
        writeFile(folder.path() / "take.mp4", bytes);
        return folder.path() / "take.mp4";
    }
    /// Waits for the service to have received so much, and returns the lines.
    QList<QByteArray> lines(qsizetype count) {
        waitUntil([&] { return service.lines().size() >= count; });
        return service.lines();
    }
};

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

    // The channel's close and the upload travel on two connections.
    QList<QByteArray> lines = t.lines(9);
    EXPECT_TRUE(lines.removeOne("close 1000"));
    EXPECT_EQ(lines,
        (QList<QByteArray>{"POST /api/app/sessions", "handshake /live/ses_1", "message {\"type\":\"paused\"}",
            "message {\"type\":\"resumed\"}", "message {\"durationSeconds\":93.25,\"type\":\"finished\"}",
            "POST /api/app/sessions/ses_1/upload-url", "PUT /store/ses_1/video.mp4?signature=a%2Fb%2Bc",
            "POST /api/app/sessions/ses_1/video-uploaded"}));
    for (const Received& entry : t.service.received()) {
        SCOPED_TRACE(entry.line().toStdString());
        if (entry.kind == Received::Kind::handshake || entry.target.startsWith("/api/"))
            EXPECT_EQ(entry.headers.value("authorization"), "Bearer token-1");
        else
            EXPECT_FALSE(entry.headers.contains("authorization"));
        if (entry.kind == Received::Kind::request) {
            EXPECT_EQ(entry.headers.value("content-length"), QByteArray::number(qint64(entry.bodySize)));
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
    QList<QByteArray> lines = t.lines(6);
    EXPECT_TRUE(lines.removeOne("close 1000"));
    EXPECT_EQ(lines, (QList<QByteArray>{"POST /api/app/sessions", "handshake /live/ses_1",
                         "message {\"type\":\"deleted\"}", "message {\"type\":\"deleted\"}",
                         "DELETE /api/app/sessions/ses_1"}));
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

// Every request that an operation makes, and whether its answer is decoded.
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
            EXPECT_TRUE(t.service.lines().last().startsWith(call.request)) << "went on";
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

TEST(HTTPBackend, passesOnTheTransportsError) {
    for (const Call& call : calls) {
        SCOPED_TRACE(call.request);
        HTTPUnderTest t;
        t.service.misbehave({.match = call.request, .cutAfter = 0});
        const auto error = errorOf([&] { call.make(t); });
        EXPECT_EQ(error.domain, u"QNetworkReply");
        EXPECT_EQ(error.code, 2); // RemoteHostClosedError
        EXPECT_EQ(error.localizedDescription, u"Connection closed");
        if (call.request[0] == 'P') {
            EXPECT_EQ(t.service.received(call.request).size(), 1u) << "sent again";
        }
    }
    quint16 nobody = 0;
    {
        QTcpServer server;
        server.listen(QHostAddress::LocalHost);
        nobody = server.serverPort();
    }
    HTTPBackend http(QUrl(u"http://127.0.0.1:%1"_qs.arg(nobody)), token);
    const auto error = errorOf([&] { await(http.currentUser()); });
    EXPECT_EQ(error.code, 1); // ConnectionRefusedError
    EXPECT_EQ(error.localizedDescription, u"Connection refused");
    EXPECT_EQ(
        errorOf([&] { await(HTTPBackend(QUrl(u"file:///etc/hostname"_qs), token).currentUser()); }).code,
        301); // ProtocolUnknownError
}

} // namespace

} // namespace tavro::test
