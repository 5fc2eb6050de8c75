#include "Platform/Portal/PortalScreenCapture.h"

#include "CastSource.h"
#include "Platform/Fake/FakeAssetWriter.h"
#include "ScriptedPortal.h"
#include "support/TestSupport.h"

#include <set>
#include <string>
#include <sys/stat.h>

namespace tavro {
namespace {

using test::await;
using test::CastSource;
using test::errorOf;
using test::ScriptedPortal;
using test::waitUntil;

WaylandOutput output(const char* connector, QRect area) {
    WaylandOutput result;
    result.connector = QString::fromLatin1(connector);
    result.area = area;
    result.pixels = area.size();
    return result;
}

struct PortalScreenCaptureTest : testing::Test {
    test::TemporaryFolder folder;
    const std::filesystem::path tokens = folder.path() / "tavro" / "displays.json";
    std::vector<WaylandOutput> outputs{
        output("DP-1", {0, 0, 1920, 1080}), output("HDMI-A-1", {1920, 0, 1280, 720})};
    FakeAssetWriterFactory writers;
    int interruptions = 0;
    CastSource source{{.width = 640, .height = 360}};

    ScriptedPortal::Stream left{.node = source.node(), .size = QSize(1920, 1080), .position = {}, .id = {}};
    ScriptedPortal::Stream right{.node = source.node(), .size = QSize(1280, 720), .position = {}, .id = {}};

    ScriptedPortal::Script script(std::vector<ScriptedPortal::Choice> choices) const {
        ScriptedPortal::Script result;
        result.choices = std::move(choices);
        result.remote = qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/pipewire-0");
        return result;
    }
    std::unique_ptr<PortalScreenCapture> makeCapture() {
        auto capture = std::make_unique<PortalScreenCapture>(
            writers, tokens, QDBusConnection::sessionBus(), [this] { return outputs; });
        capture->onInterruption([this] { ++interruptions; });
        return capture;
    }
    static std::unique_ptr<ScreenStream> streamOf(PortalScreenCapture& capture, std::size_t index) {
        const auto content = await(capture.shareableContent());
        return capture.makeStream({ContentFilter::Kind::display, content.displays.at(index).displayID},
            {1920, 1080, std::chrono::microseconds(16'667), 6});
    }
    /// Records one frame of the display.
    void take(PortalScreenCapture& capture, std::size_t index) {
        const auto stream = streamOf(capture, index);
        VideoFramePtr latest;
        stream->addStreamOutput([&](const VideoFramePtr& frame) { latest = frame; });
        await(stream->startCapture());
        EXPECT_TRUE(latest);
        await(stream->stopCapture());
    }
    static QString hintOf(PortalScreenCapture& capture, std::size_t index) {
        return await(capture.shareableContent()).displays.at(index).hint;
    }
};

TEST_F(PortalScreenCaptureTest, asksOnceAndRemembersEachDisplaysChoice) {
    ScriptedPortal portal(script({{{left}, QStringLiteral("one")}, {{right}, QStringLiteral("two")},
        {{left}, QStringLiteral("three")}, {{left}, QString()}, {{left}, QStringLiteral("four")}}));
    auto capture = makeCapture();
    EXPECT_NE(hintOf(*capture, 0), QString());
    EXPECT_NE(capture->obstacle(), QString());
    const std::pair<std::size_t, QString> takes[] = {
        {0, {}}, {1, {}}, {0, QStringLiteral("one")}, {0, QStringLiteral("three")}, {0, {}}};
    int session = 0;
    for (const auto& [display, expectedToken] : takes) {
        take(*capture, display);
        const auto options = portal.optionsOf(QStringLiteral("SelectSources"), session++);
        EXPECT_EQ(options.value(QStringLiteral("restore_token")).toString(), expectedToken) << session;
        EXPECT_EQ(options.value(QStringLiteral("persist_mode")).toUInt(), 2U);
        EXPECT_EQ(options.value(QStringLiteral("types")).toUInt(), 1U);
        EXPECT_TRUE(waitUntil([&] { return portal.openSessions() == 0; }));
        capture = makeCapture();                                           // the tokens outlive the program
        EXPECT_EQ(hintOf(*capture, 0).isEmpty(), session != 4) << session; // the fourth was told to forget
    }
    EXPECT_EQ(capture->obstacle(), QString());
    struct stat status {};
    ASSERT_EQ(::stat(tokens.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(PortalScreenCaptureTest, anotherDisplayIsAskedForOnceMoreThenRefused) {
    ScriptedPortal portal(script({{{left}, QStringLiteral("one")}, {{left}, QStringLiteral("two")},
        {{left}, QStringLiteral("three")}, {{right}, QStringLiteral("four")}}));
    auto capture = makeCapture();
    auto stream = streamOf(*capture, 1);
    const auto error = errorOf([&] { await(stream->startCapture()); });
    EXPECT_EQ(error.domain, u"Tavro.Portal");
    EXPECT_EQ(error.code, 4);
    EXPECT_TRUE(error.localizedDescription.contains(u"HDMI-A-1")) << error.text.toStdString();
    EXPECT_EQ(portal.callsOf(QStringLiteral("Start")), 2);
    EXPECT_TRUE(waitUntil([&] { return portal.openSessions() == 0; }));
    // What was chosen in place of it is that display's choice.
    EXPECT_EQ(hintOf(*capture, 0), QString());
    EXPECT_NE(hintOf(*capture, 1), QString());

    take(*capture, 1); // asked once more, the right one
    EXPECT_EQ(portal.callsOf(QStringLiteral("Start")), 4);
    EXPECT_EQ(hintOf(*capture, 1), QString());
}

// Only GNOME stamps a picture with its own time.
TEST_F(PortalScreenCaptureTest, aPictureHasTheTimeAtWhichItWasShown) {
    struct Case {
        const char* desktop;
        std::chrono::milliseconds age;
        bool counts;
    };
    using namespace std::chrono_literals;
    for (const auto& [desktop, age, counts] :
        {Case{"GNOME", 80ms, true}, Case{"GNOME", 3s, false}, Case{"KDE", 80ms, false}}) {
        SCOPED_TRACE(std::string(desktop) + " " + std::to_string(age.count()));
        const test::ScopedEnvironment session("XDG_CURRENT_DESKTOP", desktop);
        ScriptedPortal portal(script({{{left}, QStringLiteral("one")}}));
        const auto capture = makeCapture();
        const auto stream = streamOf(*capture, 0);
        std::set<std::chrono::microseconds> stamps;
        int drawn = 0, stamped = 0;
        stream->addStreamOutput([&](const VideoFramePtr& frame) {
            drawn += !frame->damage.empty();
            stamped += stamps.contains(frame->presentationTime);
        });
        await(stream->startCapture());
        const int before = drawn;
        auto last = std::chrono::steady_clock::now();
        const auto sendSome = [&] {
            const auto now = std::chrono::steady_clock::now();
            if (now - last < 100ms || !source.isWatched())
                return;
            last = now;
            const auto colour = 0xff000000u + static_cast<std::uint32_t>(stamps.size()) * 0x0a0000u;
            if (source.send({.picture = test::CastPicture(640, 360, colour), .stamp = now - age}))
                stamps.insert(
                    std::chrono::duration_cast<std::chrono::microseconds>((now - age).time_since_epoch()));
        };
        EXPECT_TRUE(waitUntil([&] {
            sendSome();
            return counts ? stamped > 3 : drawn > before + 5;
        }));
        EXPECT_EQ(stamped > 0, counts);
        await(stream->stopCapture());
    }
}

TEST_F(PortalScreenCaptureTest, displaysThatLookAlikeAreAskedForEachTime) {
    outputs[1] = output("DP-2", {1920, 0, 1920, 1080});
    ScriptedPortal portal(script({{{left}, QStringLiteral("one")}}));
    auto capture = makeCapture();
    for (int session = 0; session < 2; ++session) {
        EXPECT_NE(hintOf(*capture, 0), QString());
        take(*capture, 0);
        const auto options = portal.optionsOf(QStringLiteral("SelectSources"), session);
        EXPECT_FALSE(options.contains(QStringLiteral("restore_token"))) << "for the display chosen before";
    }
}

TEST_F(PortalScreenCaptureTest, aChoiceThatIsNotRememberedIsAGrantToo) {
    ScriptedPortal portal(script({{{left}, QString()}}));
    auto capture = makeCapture();
    EXPECT_NE(capture->obstacle(), QString());
    await(capture->ask());
    EXPECT_EQ(makeCapture()->obstacle(), QString());
    EXPECT_NE(hintOf(*capture, 0), QString());
}

TEST_F(PortalScreenCaptureTest, refusalsAreTold) {
    const struct {
        const char* method;
        unsigned code;
        bool isCancelled;
        bool closesSession; // the portal does, before it answers
    } cases[] = {{"CreateSession", 2, false, false}, {"SelectSources", 1, true, false},
        {"SelectSources", 1, true, true}, {"SelectSources", 2, false, false}, {"Start", 1, true, false},
        {"Start", 1, true, true}, {"Start", 2, false, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.method + std::to_string(c.code));
        auto refusing = script({{{left}, QStringLiteral("token")}});
        refusing.refusals[QString::fromLatin1(c.method)] = c.code;
        refusing.closesOnRefusal = c.closesSession;
        ScriptedPortal portal(refusing);
        auto capture = makeCapture();
        auto stream = streamOf(*capture, 0);
        bool isCancelled = false;
        try {
            await(stream->startCapture());
            ADD_FAILURE() << "started";
        } catch (const CaptureCancelled&) {
            isCancelled = true;
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.domain(), u"Tavro.Portal");
            EXPECT_FALSE(error.message().isEmpty());
        }
        EXPECT_EQ(isCancelled, c.isCancelled);
        EXPECT_TRUE(waitUntil([&] { return portal.openSessions() == 0; })) << "a session is left";
        EXPECT_EQ(interruptions, 0);
    }
}

TEST_F(PortalScreenCaptureTest, aTokenOutlivesACancelledDialog) {
    ScriptedPortal portal(script({{{left}, QStringLiteral("one")}}));
    auto capture = makeCapture();
    take(*capture, 0);
    portal.script.refusals[QStringLiteral("Start")] = 1;
    EXPECT_THROW(take(*capture, 0), CaptureCancelled);
    portal.script.refusals.clear();
    take(*capture, 0);
    EXPECT_EQ(portal.optionsOf(QStringLiteral("SelectSources"), 2).value(QStringLiteral("restore_token")),
        QStringLiteral("one"));
}

TEST_F(PortalScreenCaptureTest, aPortalThatEndsIsNotWaitedFor) {
    auto hanging = script({{{left}, {}}});
    hanging.silent = {QStringLiteral("Start")};
    ScriptedPortal portal(hanging);
    auto capture = makeCapture();
    auto stream = streamOf(*capture, 0);
    QTimer::singleShot(200, [&] { portal.leaveBus(); });
    EXPECT_EQ(errorOf([&] { await(stream->startCapture()); }).code, 3);
}

TEST_F(PortalScreenCaptureTest, withoutAPortalSaysWhatToInstall) {
    auto capture = makeCapture();
    EXPECT_EQ(errorOf([&] { await(capture->shareableContent()); }).code, 1);
    EXPECT_TRUE(capture->obstacle().contains(u"xdg-desktop-portal")) << capture->obstacle().toStdString();
    EXPECT_TRUE(
        errorOf([&] { await(makeCapture()->ask()); }).localizedDescription.contains(u"xdg-desktop-portal"));
    ScriptedPortal portal(script({{{left}, QStringLiteral("one")}}));
    await(capture->refresh());
    EXPECT_FALSE(capture->obstacle().contains(u"xdg-desktop-portal"));
    await(capture->ask());
    EXPECT_EQ(capture->obstacle(), QString());
    EXPECT_TRUE(waitUntil([&] { return portal.openSessions() == 0; }));
}

TEST_F(PortalScreenCaptureTest, anOldPortalWithoutTokensIsAskedEachTime) {
    auto old = script({{{left}, {}}});
    old.version = 3;
    ScriptedPortal portal(old);
    auto capture = makeCapture();
    await(capture->refresh());
    EXPECT_EQ(capture->obstacle(), QString());
    take(*capture, 0);
    EXPECT_NE(hintOf(*capture, 0), QString());
}

// The film keeps its last picture; the user is told once.
TEST_F(PortalScreenCaptureTest, theEndOfSharingIsToldOnceAndEndsNothing) {
    for (const bool bySignal : {true, false}) {
        ScriptedPortal portal(script({{{left}, QStringLiteral("one")}}));
        auto capture = makeCapture();
        auto stream = streamOf(*capture, 0);
        VideoFramePtr latest;
        stream->addStreamOutput([&](const VideoFramePtr& frame) { latest = frame; });
        await(stream->startCapture());
        interruptions = 0;
        if (bySignal)
            portal.closeSessions();
        else
            source.setPaused(true);
        EXPECT_TRUE(waitUntil([&] { return interruptions > 0; })) << bySignal;
        const auto before = latest->sequence;
        EXPECT_TRUE(waitUntil([&] { return latest->sequence >= before + 3; }))
            << "the picture is not repeated";
        await(stream->stopCapture());
        EXPECT_EQ(interruptions, 1);
        source.setPaused(false);
    }
}

} // namespace
} // namespace tavro
