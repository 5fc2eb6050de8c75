#include "Backend/HTTPBackend.h"
#include "Session/RecordingSession.h"

#include "Session/ScriptedCapture.h"
#include "support/LoopbackService.h"
#include "support/TestSupport.h"

namespace tavro::test {
namespace {

struct RemoteTake : testing::Test {
    TemporaryFolder temporary;
    LoopbackService service;
    Script script;
    ScriptedCapture capture{script};
    ScriptedMuxer muxer{script};
    RecordingSession session{std::make_shared<HTTPBackend>(service.baseURL(), u"token-1"_qs), capture, muxer,
        temporary.path() / "Tavro-recordings"};
};

TEST_F(RemoteTake, keepsItsFileWhenItsFinishFails) {
    const struct {
        Misbehaviour rule;
        QString error; // the beginning of its text
    } cases[] = {
        {{.match = "GET /live", .status = 403}, u"Error Domain=QWebSocket"_qs},
        {{.match = "POST /api/app/sessions/", .status = 500}, u"notFound"_qs},
        {{.match = "POST /api/app/sessions/", .body = "{\"url\":1}"}, u"Error Domain=Tavro.JSON"_qs},
        {{.match = "PUT", .status = 403}, u"notFound"_qs},
        {{.match = "PUT", .cutAfter = 3}, u"Error Domain=curl"_qs},
        {{.match = "POST /api/app/sessions/", .times = 0, .status = 0}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rule.match.toStdString());
        service.behave();
        service.misbehave(c.rule);
        await(session.begin(u"scn_guest"_qs, {}, {CaptureKind::display, u"1"_qs, u"Display 1"_qs}, true));
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
