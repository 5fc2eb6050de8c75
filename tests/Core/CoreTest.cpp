#include "Core/DesktopSession.h"
#include "Core/ErrorWords.h"
#include "Core/Log.h"
#include "Core/SerialQueue.h"
#include "Core/Tasks.h"
#include "Core/WorkerConfig.h"

#include "support/TestSupport.h"

#include <atomic>
#include <thread>

namespace tavro {
namespace {

using namespace std::chrono_literals;
using test::waitUntil;

TEST(Log, writesOneLineForEachMessage) {
    const test::LogLines lines;
    const qint64 before = test::readFile(Log::url()).size();
    Log::info(QStringLiteral("first — line"));
    Log::error(QStringLiteral("two\nlines"));
    Log::info({});
    EXPECT_EQ(test::readFile(Log::url()).mid(before), "[INFO] first — line\n[ERROR] two\nlines\n[INFO] \n");
}

TEST(Log, losesAndMixesNothingFromConcurrentThreads) {
    const test::LogLines lines;
    constexpr int threads = 4, each = 250;
    const QString filler(200, QLatin1Char('x'));
    {
        std::vector<std::jthread> writers;
        for (int t = 0; t < threads; ++t)
            writers.emplace_back([=] {
                for (int i = 0; i < each; ++i)
                    Log::info(QStringLiteral("%1/%2 %3").arg(t).arg(i).arg(filler));
            });
    }
    QStringList expected;
    for (int t = 0; t < threads; ++t)
        for (int i = 0; i < each; ++i)
            expected << QStringLiteral("[INFO] %1/%2 %3").arg(t).arg(i).arg(filler);
    QStringList written = lines.all();
    written.sort();
    expected.sort();
    EXPECT_EQ(written, expected);
}

TEST(DesktopSession, isAWaylandOneByItsTypeElseByItsCompositor) {
    const struct {
        QByteArray type, compositor;
        bool isWayland;
    } cases[] = {
        {"wayland", "wayland-0", true},
        {"wayland", "", true},
        {"x11", "wayland-0", false},
        {"tty", "wayland-1", true},
        {"", "wayland-0", true},
        {"tty", "", false},
        {"", "", false},
    };
    for (const auto& c : cases) {
        const test::ScopedEnvironment display("DISPLAY", ":0"), type("XDG_SESSION_TYPE", c.type),
            compositor("WAYLAND_DISPLAY", c.compositor);
        EXPECT_EQ(isWaylandSession(), c.isWayland)
            << c.type.toStdString() << ' ' << c.compositor.toStdString();
    }
}

TEST(WorkerConfig, readsTheAddressAfreshAndFallsBack) {
    const test::TemporaryFolder folder;
    const auto file = folder.path() / "tavro" / "defaults.conf";
    const WorkerConfig config{UserDefaults(file)};
    EXPECT_EQ(config.backendURL(), WorkerConfig::defaultBackendURL());

    const struct {
        QByteArray stored;
        QString used;
    } cases[] = {
        {"https://example.org/base/", QStringLiteral("https://example.org/base/")},
        {"http://127.0.0.1:8080", QStringLiteral("http://127.0.0.1:8080")},
        {"https://example.org/a,b,/c", QStringLiteral("https://example.org/a,b,/c")},
        {"\"https://example.org/a,b\"", QStringLiteral("https://example.org/a,b")},
        {"", WorkerConfig::defaultBackendURL().toString()},
        {"http://[broken", WorkerConfig::defaultBackendURL().toString()},
    };
    const test::LogLines lines;
    for (const auto& c : cases) {
        test::writeFile(file, "[General]\ntavro.backendURL=" + c.stored + "\n");
        EXPECT_EQ(config.backendURL().toString(), c.used) << c.stored.constData();
    }
    ASSERT_EQ(lines.all().size(), 1); // an absent address is none to complain of
    EXPECT_TRUE(
        lines.all().front().startsWith(u"[ERROR] config: the stored tavro.backendURL is no address ("));
    EXPECT_FALSE(config.devMode());
    test::writeFile(file, "[General]\ntavro.devMode=true\n");
    EXPECT_TRUE(config.devMode());
}

TEST(UserDefaults, keepsWhatItIsGivenAcrossInstances) {
    const test::TemporaryFolder folder;
    const auto file = folder.path() / "defaults.conf";
    UserDefaults(file).set(QStringLiteral("tavro.userEmail"), QStringLiteral("a,b;c=\"ü\"@example.org"));
    EXPECT_EQ(UserDefaults(file).string(QStringLiteral("tavro.userEmail")),
        QStringLiteral("a,b;c=\"ü\"@example.org"));
    UserDefaults(file).remove(QStringLiteral("tavro.userEmail"));
    EXPECT_EQ(UserDefaults(file).string(QStringLiteral("tavro.userEmail")), std::nullopt);
}

TEST(Errors, describesEveryKindOfException) {
    const auto platform =
        test::errorOf([] { throw PlatformError(QStringLiteral("Tavro.Test"), 7, QStringLiteral("why")); });
    EXPECT_EQ(platform.domain, u"Tavro.Test");
    EXPECT_EQ(platform.code, 7);
    EXPECT_EQ(platform.localizedDescription, u"why");
    const auto silent = test::errorOf([] { throw PlatformError(QStringLiteral("Tavro.Test"), 2); });
    EXPECT_TRUE(silent.localizedDescription.contains(u"Tavro.Test"));
    const auto system = test::errorOf([] { (void)std::filesystem::file_size("/nonexistent/file"); });
    EXPECT_EQ(system.code, ENOENT);
    EXPECT_TRUE(system.localizedDescription.contains(u"/nonexistent/file"));
    EXPECT_EQ(system.message, u"No such file or directory");
    const auto full = test::errorOf([] {
        throw std::filesystem::filesystem_error("copy", std::error_code(ENOSPC, std::generic_category()));
    });
    EXPECT_EQ(full.cause.kind, Cause::diskFull);
}

TEST(ErrorWords, everyFailureHasASentenceWithoutDomainAndCode) {
    for (int kind = 0; kind <= Cause::keyringRefused; ++kind) {
        for (const QString& message : {QString(), QStringLiteral("Why")}) {
            const Cause cause{static_cast<Cause::Kind>(kind), 403};
            const auto error = test::errorOf(
                [&] { throw PlatformError(QStringLiteral("Tavro.Test"), 739, message, cause); });
            for (const Attempt attempt : {Attempt::createSession, Attempt::upload, Attempt::deleteSession,
                     Attempt::listProjects, Attempt::local}) {
                const auto [happened, remedy] = inWords(error, attempt);
                EXPECT_TRUE(happened.endsWith(u'.')) << kind;
                EXPECT_TRUE(remedy.isEmpty() || remedy.endsWith(u'.')) << kind;
                for (const char* detail : {"Tavro.Test", "739", "error"})
                    EXPECT_FALSE((happened + remedy).contains(QLatin1String(detail))) << kind << detail;
                const bool tellsItself = kind == Cause::other || kind == Cause::recordingUnusable;
                EXPECT_EQ(happened == u"Why.", tellsItself && !message.isEmpty());
            }
        }
    }
}

TEST(ErrorWords, tellOfARefusalBySortAndByWhatWasAskedFor) {
    const struct {
        Cause cause;
        Attempt attempt;
        QString happened, remedy;
    } cases[] = {
        {{Cause::serviceRefused, 403}, Attempt::upload,
            QStringLiteral("The service refused the upload (HTTP 403)."),
            QStringLiteral("Ask whoever runs the service.")},
        {{Cause::serviceRefused, 401}, Attempt::listProjects,
            QStringLiteral("The service refused to list the projects (HTTP 401)."),
            QStringLiteral("Sign in again in Settings.")},
        {{Cause::serviceRefused, 500}, Attempt::createSession,
            QStringLiteral("The service has a fault and refused the new session (HTTP 500)."),
            QStringLiteral("Try again later.")},
        {{Cause::unknownToService, 404}, Attempt::createSession,
            QStringLiteral("The service no longer knows this scenario."),
            QStringLiteral("Choose another one.")},
        {{Cause::unknownToService, 404}, Attempt::upload,
            QStringLiteral("The service no longer knows this session."), {}},
    };
    for (const auto& c : cases) {
        const auto error = test::errorOf([&] { throw PlatformError(QStringLiteral("D"), 1, {}, c.cause); });
        EXPECT_EQ(inWords(error, c.attempt).happened, c.happened);
        EXPECT_EQ(inWords(error, c.attempt).remedy, c.remedy);
    }
}

TEST(SerialQueue, runsInOrderAndBeforeItIsDestroyed) {
    std::vector<int> seen;
    {
        SerialQueue queue(QStringLiteral("test"));
        for (int i = 0; i < 100; ++i)
            queue.async([&seen, i] { seen.push_back(i); });
    }
    ASSERT_EQ(seen.size(), 100u);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
}

QCoro::Task<int> doubled(SerialQueue& queue, int value) {
    auto operation = [&queue, value]() -> QCoro::Task<int> {
        if (!queue.isCurrent())
            throw std::logic_error("not on the queue's thread");
        if (value < 0)
            throw PlatformError(QStringLiteral("Tavro.Test"), value);
        co_return 2 * value;
    };
    auto result = queue.run(operation);
    co_return co_await result;
}

TEST(SerialQueue, runsThereAndComesBack) {
    SerialQueue queue(QStringLiteral("test"));
    const auto here = std::this_thread::get_id();
    std::thread::id resumed;
    const int value = test::await([](SerialQueue& there, std::thread::id& thread) -> QCoro::Task<int> {
        const int twice = co_await doubled(there, 21);
        thread = std::this_thread::get_id();
        co_return twice;
    }(queue, resumed));
    EXPECT_EQ(value, 42);
    EXPECT_EQ(resumed, here);
    EXPECT_EQ(test::errorOf([&] { test::await(doubled(queue, -3)); }).code, -3);
}

TEST(EventLoop, dropsWhatComesAfterItsThread) {
    const auto held = std::make_shared<int>();
    std::shared_ptr<EventLoop> ended;
    std::jthread([&] { ended = EventLoop::current(); }).join();
    ended->post([held] { FAIL() << "ran on a thread that has ended"; });
    EXPECT_EQ(held.use_count(), 1);
}

TEST(Tasks, logsWhatNobodyCatches) {
    const test::LogLines lines;
    const auto held = std::make_shared<int>();
    SerialQueue queue(QStringLiteral("test"));
    startTask(QStringLiteral("at once"), []() -> QCoro::Task<> {
        throw PlatformError(QStringLiteral("Tavro.Test"), 7, QStringLiteral("why"));
        co_return;
    });
    startTask(QStringLiteral("later"), [&queue, held]() -> QCoro::Task<> {
        const int negative = co_await doubled(queue, -*held - 1);
        ADD_FAILURE() << negative;
    });
    EXPECT_TRUE(waitUntil([&] { return held.use_count() == 1; }));
    const QStringList all = lines.all();
    ASSERT_EQ(all.size(), 2) << qPrintable(all.join(u'\n'));
    EXPECT_TRUE(all[0].startsWith(u"[ERROR] at once failed: ")) << qPrintable(all[0]);
    EXPECT_TRUE(all[0].contains(u"why"));
    EXPECT_TRUE(all[1].startsWith(u"[ERROR] later failed: ")) << qPrintable(all[1]);
}

TEST(Promise, takesTheFirstOutcomeFromAnyThread) {
    const Promise<int> promise;
    std::atomic<int> accepted = 0;
    {
        std::vector<std::jthread> racers;
        for (int i = 0; i < 8; ++i)
            racers.emplace_back([&, i] { accepted += promise.resolve(i); });
    }
    EXPECT_EQ(accepted, 1);
    EXPECT_FALSE(promise.reject(std::make_exception_ptr(std::runtime_error("late"))));
    const int value = test::await([](Promise<int> p) -> QCoro::Task<int> { co_return co_await p; }(promise));
    EXPECT_GE(value, 0);
}

} // namespace
} // namespace tavro
