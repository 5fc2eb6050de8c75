#include "Backend/HTTPBackend.h"
#include "Session/RecordingSession.h"

#include "Session/ScriptedCapture.h"
#include "support/LoopbackService.h"
#include "support/TestSupport.h"

namespace tavro::test {
namespace {

using namespace std::chrono_literals;

/// The session as it is driven against the remote service, with a clock of its own.
struct RemoteTake : testing::Test {
    TemporaryFolder temporary;
    LoopbackService service;
    RecordingSession::Clock::time_point time{};
    Script script;
    ScriptedCapture capture{script};
    ScriptedMuxer muxer{script};
    RecordingSession session{std::make_shared<HTTPBackend>(service.baseURL(), u"token-1"_qs), capture, muxer,
        temporary.path() / "Tavro-recordings", [this] { return time; }};

    void begin(bool includeMic) {
        await(session.begin(u"scn_guest"_qs, u"https://shop.example/"_qs,
            {CaptureKind::window, u"4711"_qs, u"Shop"_qs}, includeMic));
        time += 2s;
    }
    void expectArrived(const QList<QByteArray>& onTheChannel, const QList<QByteArray>& asRequests) {
        EXPECT_TRUE(waitUntil([&] { return service.received("close").size() == 1; }));
        EXPECT_EQ(service.channelLines(), onTheChannel);
        EXPECT_EQ(service.requestLines(), asRequests);
    }
};

TEST_F(RemoteTake, reachesTheServiceFromItsBeginToItsVideo) {
    begin(true);
    await(session.pause());
    time += 5s;
    await(session.resume());
    time += 1500ms;
    await(session.finish());
    EXPECT_EQ(session.phase(), SessionPhase::done);
    expectArrived({"handshake /live/ses_1", "message {\"type\":\"paused\"}", "message {\"type\":\"resumed\"}",
                      "message {\"durationSeconds\":3.5,\"type\":\"finished\"}", "close 1000"},
        {"POST /api/app/sessions", "POST /api/app/sessions/ses_1/upload-url",
            "PUT /store/ses_1/video.mp4?signature=a%2Fb%2Bc", "POST /api/app/sessions/ses_1/video-uploaded"});
    EXPECT_EQ(service.received("PUT").at(0).body, "picture 1 + sound 1");
}

TEST_F(RemoteTake, isDeletedThere) {
    begin(false);
    await(session.deleteSession());
    EXPECT_EQ(session.phase(), SessionPhase::idle);
    expectArrived({"handshake /live/ses_1", "message {\"type\":\"deleted\"}",
                      "message {\"type\":\"deleted\"}", "close 1000"},
        {"POST /api/app/sessions", "DELETE /api/app/sessions/ses_1"});
}

TEST_F(RemoteTake, keepsItsFileWhenItsFinishFails) {
    const struct {
        Misbehaviour rule;
        QString error; // the beginning of its text
    } cases[] = {
        {{.match = "GET /live", .status = 403}, u"Error Domain=QWebSocket"_qs},
        {{.match = "POST /api/app/sessions/", .status = 500}, u"notFound"_qs},
        {{.match = "POST /api/app/sessions/", .body = "{\"url\":1}"}, u"Error Domain=Tavro.JSON"_qs},
        {{.match = "PUT", .status = 403}, u"notFound"_qs},
        {{.match = "PUT", .cutAfter = 3}, u"Error Domain=QAbstractSocket"_qs},
        {{.match = "POST /api/app/sessions/", .times = 0, .status = 0}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rule.match.toStdString());
        service.behave();
        service.misbehave(c.rule);
        begin(true);
        const auto folder = session.outputURL()->parent_path();
        const std::string id = session.sessionId()->toStdString();
        const LogLines lines;
        if (c.error.isEmpty()) {
            await(session.finish());
        } else {
            const QString error = errorOf([&] { await(session.finish()); }).text;
            EXPECT_TRUE(error.startsWith(c.error)) << qPrintable(error);
            EXPECT_EQ(session.phase(), SessionPhase::uploading);
            EXPECT_TRUE(readFile(folder / (id + "-muxed.mp4")).startsWith("picture"));
            EXPECT_TRUE(
                lines.contains(u"[ERROR] session.finish: the recording was not uploaded and is kept: "_qs +
                               QString::fromStdString((folder / (id + "-muxed.mp4")).string())));
        }
        session.reset();
    }
}

} // namespace
} // namespace tavro::test
