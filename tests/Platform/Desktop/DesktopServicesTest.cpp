#include "Core/Paths.h"
#include "Platform/Desktop/DesktopInhibitor.h"
#include "Platform/Desktop/DesktopNotifier.h"
#include "Platform/Desktop/DesktopPrivacy.h"
#include "Platform/ScreenCapture.h"
#include "support/TestSupport.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QJsonDocument>
#include <QJsonObject>

using namespace tavro;
using namespace tavro::test;

namespace {

/// A service on its own connection that grants every inhibition.
class PowerService final : public QDBusVirtualObject {
public:
    PowerService(const QString& called, const QString& path)
        : connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, called))
        , name(called) {
        connection.registerVirtualObject(path, this);
        EXPECT_TRUE(connection.registerService(name));
    }
    ~PowerService() override { QDBusConnection::disconnectFromBus(name); }

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
        if (message.member() == u"Inhibit") {
            asked.push_back(message.arguments());
            if (!answersLate)
                answer(message, bus);
            else
                late = message;
        } else if (message.member().compare(u"UnInhibit", Qt::CaseInsensitive) == 0) {
            released.push_back(message.arguments().value(0).toUInt());
        }
        return true;
    }
    void answerNow() { answer(late, connection); }

    bool answersLate = false;
    std::vector<QVariantList> asked;
    std::vector<uint> released;

private:
    static void answer(const QDBusMessage& message, const QDBusConnection& bus) {
        bus.send(message.createReply(QVariant::fromValue(42U)));
    }

    QDBusConnection connection;
    const QString name;
    QDBusMessage late;
};

DesktopInhibitor onSessionBusAlone() {
    return DesktopInhibitor(QDBusConnection::sessionBus(), QDBusConnection::sessionBus());
}

} // namespace

TEST(DesktopInhibitor, asksEveryServiceThatRunsAndGivesBackWhatItGot) {
    PowerService screenSaver(
        QStringLiteral("org.freedesktop.ScreenSaver"), QStringLiteral("/org/freedesktop/ScreenSaver"));
    PowerService gnome(
        QStringLiteral("org.gnome.SessionManager"), QStringLiteral("/org/gnome/SessionManager"));
    auto inhibitor = onSessionBusAlone();

    auto inhibition = inhibitor.inhibit(QStringLiteral("Recording"));
    ASSERT_TRUE(waitUntil([&] { return !screenSaver.asked.empty() && !gnome.asked.empty(); }));
    EXPECT_EQ(screenSaver.asked[0],
        (QVariantList{QStringLiteral("com.quembridge.tavro"), QStringLiteral("Recording")}));
    EXPECT_EQ(gnome.asked[0].value(3).toUInt(), 4U | 8U); // suspend and idle

    inhibition.reset();
    EXPECT_TRUE(waitUntil(
        [&] { return screenSaver.released == std::vector{42U} && gnome.released == std::vector{42U}; }));
}

TEST(DesktopInhibitor, givesBackAnAnswerThatComesAfterTheEnd) {
    PowerService screenSaver(
        QStringLiteral("org.freedesktop.ScreenSaver"), QStringLiteral("/org/freedesktop/ScreenSaver"));
    screenSaver.answersLate = true;
    auto inhibitor = onSessionBusAlone();

    auto inhibition = inhibitor.inhibit(QStringLiteral("Recording"));
    ASSERT_TRUE(waitUntil([&] { return !screenSaver.asked.empty(); }));
    inhibition.reset();
    EXPECT_TRUE(screenSaver.released.empty());
    screenSaver.answerNow();
    EXPECT_TRUE(waitUntil([&] { return screenSaver.released == std::vector{42U}; }));
}

namespace {

struct DesktopNotifierTest : testing::Test {
    std::filesystem::path record =
        std::filesystem::path(qgetenv("TAVRO_DESKTOP").toStdString()) / "notifications.jsonl";
    qsizetype before = lines().size();
    DesktopNotifier notifier;

    QList<QByteArray> lines() const {
        auto all = readFile(record).split('\n');
        all.removeLast(); // the part after the last line feed
        return all;
    }
    QJsonObject shown(int number) {
        const auto index = before + number;
        EXPECT_TRUE(waitUntil([&] { return lines().size() > index; }));
        return QJsonDocument::fromJson(lines().value(index)).object();
    }
    static void click(int id, const QString& action) {
        auto call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.Notifications"),
            QStringLiteral("/org/freedesktop/Notifications"),
            QStringLiteral("com.quembridge.tavro.Notifications"), QStringLiteral("Invoke"));
        call.setArguments({static_cast<uint>(id), action});
        QDBusConnection::sessionBus().call(call);
    }
};

} // namespace

TEST_F(DesktopNotifierTest, showsTextAndRunsTheActionOfTheNotificationThatWasClicked) {
    int first = 0, second = 0;
    const auto notify = [this](const QString& body, int& counter, bool failure) {
        notifier.show({.summary = QStringLiteral("Title"),
            .body = body,
            .actions = {{QStringLiteral("Open"), [&counter] { ++counter; }},
                {QStringLiteral("Send"), [&counter] { counter += 10; }}},
            .failure = failure});
    };
    notify(QStringLiteral("a < b"), first, false);
    notify(QStringLiteral("two"), second, true);

    const auto one = shown(0);
    EXPECT_EQ(one[u"summary"].toString(), QStringLiteral("Title"));
    EXPECT_EQ(one[u"body"].toString(), QStringLiteral("a < b")); // this service does not support markup
    EXPECT_EQ(one[u"actions"].toObject().keys(),
        (QStringList{QStringLiteral("Open"), QStringLiteral("Send"), QStringLiteral("default")}));
    const auto two = shown(1);
    EXPECT_GT(two[u"urgency"].toInt(), one[u"urgency"].toInt());

    click(two[u"id"].toInt(), QStringLiteral("Send"));
    EXPECT_TRUE(waitUntil([&] { return second == 10; }));
    click(one[u"id"].toInt(), QStringLiteral("default"));
    EXPECT_TRUE(waitUntil([&] { return first == 1; }));
    click(one[u"id"].toInt(), QStringLiteral("default")); // closed already
    click(two[u"id"].toInt(), QStringLiteral("other"));
    notify(QStringLiteral("three"), first, false);
    shown(2);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 10);
}

namespace {

struct RecordingNotifier final : Notifier {
    void show(Notification notification) override { shown.push_back(std::move(notification)); }
    std::vector<Notification> shown;
};

struct DesktopPrivacyTest : testing::Test {
    TemporaryFolder folder;
    QString obstacle;
    bool hasMicrophone = true;
    std::optional<Promise<void>> silence; // delays the system's answer until resolved
    QString obstacleOnRefresh;
    RecordingNotifier notifier;
    DesktopPrivacy privacy = make();

    DesktopPrivacy make(std::function<QCoro::Task<>()> ask = {}) {
        return DesktopPrivacy(UserDefaults(folder.path() / "new" / "answers.conf"),
            {.screenObstacle = [this] { return obstacle; },
                .refreshScreen = [this]() -> QCoro::Task<> {
                    obstacle = obstacleOnRefresh;
                    co_return;
                },
                .askForScreen = std::move(ask),
                .microphoneExists = [this] { return answer(hasMicrophone, silence); }},
            notifier);
    }
    static QCoro::Task<bool> answer(bool exists, std::optional<Promise<void>> after) {
        if (after)
            co_await *after;
        co_return bool(exists);
    }
};

} // namespace

TEST_F(DesktopPrivacyTest, requestIsTheAgreementAndIsRemembered) {
    EXPECT_EQ(privacy.microphoneAuthorization(), AuthorizationStatus::notDetermined);
    EXPECT_EQ(privacy.speechAuthorization(), AuthorizationStatus::notDetermined);

    std::optional<bool> microphone;
    privacy.requestMicrophoneAccess([&](bool granted) { microphone = granted; });
    EXPECT_EQ(microphone, true);
    std::optional<AuthorizationStatus> speech;
    privacy.requestSpeechAuthorization([&](AuthorizationStatus status) { speech = status; });
    EXPECT_EQ(speech, AuthorizationStatus::authorized);

    auto later = make();
    await(later.refresh());
    EXPECT_EQ(later.microphoneAuthorization(), AuthorizationStatus::authorized);
    EXPECT_EQ(later.speechAuthorization(), AuthorizationStatus::authorized);
    EXPECT_TRUE(notifier.shown.empty());
}

TEST_F(DesktopPrivacyTest, agreementWithoutAMicrophoneIsNoGrantUntilThereIsOne) {
    hasMicrophone = false;
    std::optional<bool> answer;
    privacy.requestMicrophoneAccess([&](bool granted) { answer = granted; });
    EXPECT_EQ(answer, false);
    EXPECT_EQ(notifier.shown.size(), 1U); // the click needs a visible effect
    EXPECT_EQ(privacy.microphoneAuthorization(), AuthorizationStatus::restricted);
    hasMicrophone = true;
    EXPECT_EQ(privacy.microphoneAuthorization(), AuthorizationStatus::restricted) << "nobody has asked again";
    int changes = 0;
    privacy.onChange([&] { ++changes; });
    await(privacy.refresh());
    await(privacy.refresh());
    EXPECT_EQ(privacy.microphoneAuthorization(), AuthorizationStatus::authorized);
    EXPECT_EQ(changes, 1);
}

TEST_F(DesktopPrivacyTest, aSilentSystemIsNotWaitedForAndHeardAllTheSame) {
    const auto sound = silence.emplace();
    int changes = 0;
    privacy.onChange([&] { ++changes; });
    std::optional<bool> answer;
    privacy.requestMicrophoneAccess([&](bool granted) { answer = granted; });
    EXPECT_EQ(privacy.microphoneAuthorization(), AuthorizationStatus::restricted) << "at once";
    EXPECT_EQ(answer, std::nullopt);
    EXPECT_TRUE(waitUntil([&] { return answer.has_value(); }));
    EXPECT_EQ(answer, false);
    EXPECT_EQ(notifier.shown.size(), 1U);
    EXPECT_EQ(changes, 0);
    sound.resolve();
    EXPECT_TRUE(waitUntil([&] { return changes == 1; }));
    EXPECT_EQ(privacy.microphoneAuthorization(), AuthorizationStatus::authorized);
}

TEST_F(DesktopPrivacyTest, aDialogOfTheDesktopGrantsTheScreen) {
    const struct {
        const char* what;
        std::function<void()> answer;
        bool grants;
        QString told;
    } cases[] = {
        {"chosen", [this] { obstacle.clear(); }, true, {}},
        {"cancelled", [] { throw CaptureCancelled(); }, false, {}},
        {"refused", [] { throw PlatformError(QStringLiteral("D"), 1, QStringLiteral("why")); }, false,
            QStringLiteral("why.")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        obstacle = QStringLiteral("not asked");
        auto asking = make([&c]() -> QCoro::Task<> {
            c.answer();
            co_return;
        });
        notifier.shown.clear();
        int changes = 0;
        asking.onChange([&] { ++changes; });
        EXPECT_FALSE(asking.requestScreenCaptureAccess());
        EXPECT_TRUE(waitUntil([&] { return changes == 1; }));
        EXPECT_EQ(asking.preflightScreenCaptureAccess(), c.grants);
        EXPECT_EQ(notifier.shown.empty() ? QString() : notifier.shown.front().body, c.told);
    }
}

TEST_F(DesktopPrivacyTest, aRefreshAsksForTheScreenToo) {
    obstacleOnRefresh = QStringLiteral("no portal");
    int changes = 0;
    privacy.onChange([&] { ++changes; });
    await(privacy.refresh());
    await(privacy.refresh());
    EXPECT_TRUE(waitUntil([&] { return changes == 1; }));
    EXPECT_FALSE(privacy.preflightScreenCaptureAccess());
}

TEST_F(DesktopPrivacyTest, mayGoWhileTheSystemIsAsked) {
    const auto sound = silence.emplace();
    std::optional<bool> answer;
    {
        auto passing = make();
        passing.requestMicrophoneAccess([&](bool granted) { answer = granted; });
    }
    sound.resolve();
    EXPECT_TRUE(waitUntil([&] { return answer.has_value(); }));
    EXPECT_EQ(answer, false);
    EXPECT_TRUE(notifier.shown.empty());
}

TEST_F(DesktopPrivacyTest, screenThatCannotBeCapturedIsExplainedWhenAskedFor) {
    EXPECT_TRUE(privacy.preflightScreenCaptureAccess());
    EXPECT_TRUE(privacy.requestScreenCaptureAccess());
    obstacle = QStringLiteral("no shared memory");
    EXPECT_FALSE(privacy.preflightScreenCaptureAccess());
    EXPECT_TRUE(notifier.shown.empty());
    EXPECT_FALSE(privacy.requestScreenCaptureAccess());
    ASSERT_EQ(notifier.shown.size(), 1U);
    EXPECT_EQ(notifier.shown[0].body, obstacle + QLatin1Char('.'));
}
