#include "CastCapture.h"
#include "support/Programs.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

namespace tavro {
namespace {

using test::CastCapture;
using test::CastFrame;
using test::CastPicture;
using test::CastSource;
using test::shows;

const CastPicture black(320, 180, 0xff000000);

QStringList errorsIn(const test::LogLines& log) {
    return log.all().filter(QStringLiteral("[ERROR]"));
}

TEST(PipeWireLossTest, BeginsBlackWithoutAPicture) {
    CastSource cast;
    CastCapture capture(cast, 320, 180);
    capture.begin(std::nullopt);
    EXPECT_TRUE(shows(*capture.source.picture(), black));
    const CastPicture picture = test::patternOf(320, 180);
    ASSERT_TRUE(capture.show({picture}, picture));
}

TEST(PipeWireLossTest, IgnoresBuffersThatAreTooSmall) {
    CastSource cast({.missing = 1});
    CastCapture capture(cast, 320, 180);
    const test::LogLines log;
    capture.begin(CastFrame{black});
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(capture.waitUntil([&] { return cast.send({black}); }));
    EXPECT_FALSE(capture.source.mayHaveChanged());
    EXPECT_EQ(errorsIn(log).size(), 1) << errorsIn(log).join('\n').toStdString();
}

TEST(PipeWireLossTest, TellsWhyItCannotBegin) {
    const CastSource cast;
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    FileDescriptor closed(ends[0]);
    ::close(ends[1]);
    struct {
        const char* name;
        int code;
        FileDescriptor remote;
        std::uint32_t node;
        bool isGivenUp = false;
    } cases[] = {
        {"no descriptor", 1, FileDescriptor(), cast.node()},
        {"a closed connection", 2, std::move(closed), cast.node()},
        {"no such node", 2, test::openPipeWireRemote(), 987'654},
        {"given up", 4, test::openPipeWireRemote(), cast.node(), true},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ErrorDescription error = test::errorOf([&c] {
            CastCapture capture(std::move(c.remote), c.node);
            capture.isGivenUp = c.isGivenUp;
            capture.begin(std::nullopt);
        });
        EXPECT_EQ(error.domain, QStringLiteral("Tavro.PipeWire"));
        EXPECT_EQ(error.code, c.code);
        EXPECT_FALSE(error.localizedDescription.isEmpty());
    }
}

TEST(PipeWireLossTest, GoesOnAfterAPause) {
    CastSource cast;
    CastCapture capture(cast, 320, 180);
    capture.begin(CastFrame{black});
    const test::LogLines log;
    cast.setPaused(true);
    ASSERT_TRUE(capture.waitUntil([&] {
        capture.source.suspectChange();
        return capture.timesStopped > 0;
    }));
    EXPECT_FALSE(capture.source.isLost());
    EXPECT_TRUE(shows(*capture.source.picture(), black));
    EXPECT_EQ(errorsIn(log).size(), 1) << errorsIn(log).join('\n').toStdString();

    cast.setPaused(false);
    const CastPicture picture = test::patternOf(320, 180); // most of it changed in the pause
    ASSERT_TRUE(capture.show({.picture = picture, .damage = {{0, 0, 8, 8}}}, picture));
    EXPECT_TRUE(log.contains(QStringLiteral("[INFO] capture: the desktop shares its screen again")));
    EXPECT_EQ(capture.timesStopped, 1);
}

// No other source takes the place of one that has gone: it might be another screen, or a camera.
TEST(PipeWireLossTest, EndsWithItsSource) {
    auto cast = std::make_unique<CastSource>();
    const CastSource other;
    CastCapture capture(*cast, 320, 180);
    capture.begin(CastFrame{black});
    const test::LogLines log;
    cast.reset();
    ASSERT_TRUE(capture.waitUntil([&] { return capture.source.isLost() || other.isWatched(); }));
    EXPECT_FALSE(other.isWatched());
    EXPECT_EQ(capture.timesStopped, 1);
    EXPECT_EQ(errorsIn(log).size(), 1) << errorsIn(log).join('\n').toStdString();
    EXPECT_FALSE(capture.source.grab());
    EXPECT_TRUE(shows(*capture.source.picture(), black));
}

void service(const char* action) {
    test::outputOf(QStringLiteral("/usr/bin/python3"),
        {QStringLiteral(TAVRO_DESKTOP_TOOL), QString::fromLatin1(action), QStringLiteral("pipewire")});
}

TEST(PipeWireLossTest, EndsWithPipeWire) {
    CastSource cast;
    CastCapture capture(cast, 320, 180);
    capture.begin(CastFrame{black});
    service("--stop");
    EXPECT_TRUE(capture.waitUntil([&] { return capture.source.isLost(); }));
    EXPECT_EQ(capture.timesStopped, 1);
    EXPECT_FALSE(capture.source.grab());
    EXPECT_TRUE(shows(*capture.source.picture(), black));
    service("--start");
}

} // namespace
} // namespace tavro
