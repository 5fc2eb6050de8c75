#include "Core/Actor.h"
#include "Core/Errors.h"
#include "Core/Log.h"
#include "Core/RepeatingTimer.h"
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
        {"", WorkerConfig::defaultBackendURL().toString()},
        {"http://[broken", WorkerConfig::defaultBackendURL().toString()},
    };
    for (const auto& c : cases) {
        test::writeFile(file, "[General]\ntavro.backendURL=" + c.stored + "\n");
        EXPECT_EQ(config.backendURL().toString(), c.used) << c.stored.constData();
    }
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
}

TEST(SerialQueue, runsInOrderAndBeforeItIsDestroyed) {
    std::vector<int> seen;
    {
        SerialQueue queue(QStringLiteral("test"));
        for (int i = 0; i < 100; ++i)
            queue.async([&seen, i] { seen.push_back(i); });
        queue.at(SerialQueue::Clock::now() + 1h, [&seen] { seen.push_back(-1); });
    }
    ASSERT_EQ(seen.size(), 100u);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
}

TEST(RepeatingTimer, repeatsUntilDestroyed) {
    SerialQueue queue(QStringLiteral("test"));
    std::atomic<int> ticks = 0;
    {
        const RepeatingTimer timer(queue, 1ms, [&] { ++ticks; });
        EXPECT_TRUE(waitUntil([&] { return ticks >= 5; }));
    }
    queue.sync([] {});
    const int atEnd = ticks;
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(ticks, atEnd);
}

QCoro::Task<int> doubled(Actor& actor, int value) {
    auto operation = [&actor, value]() -> QCoro::Task<int> {
        if (!actor.isCurrent())
            throw std::logic_error("not on the actor's thread");
        if (value < 0)
            throw PlatformError(QStringLiteral("Tavro.Test"), value);
        co_return 2 * value;
    };
    auto result = actor.run(operation);
    co_return co_await result;
}

TEST(Actor, runsThereAndComesBack) {
    Actor actor(QStringLiteral("test actor"));
    const auto here = std::this_thread::get_id();
    std::thread::id resumed;
    const int value = test::await([](Actor& there, std::thread::id& thread) -> QCoro::Task<int> {
        const int twice = co_await doubled(there, 21);
        thread = std::this_thread::get_id();
        co_return twice;
    }(actor, resumed));
    EXPECT_EQ(value, 42);
    EXPECT_EQ(resumed, here);
    EXPECT_EQ(test::errorOf([&] { test::await(doubled(actor, -3)); }).code, -3);
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
