#include "KeyringControl.h"
#include "Platform/Desktop/KeychainStore.h"

#include "support/TestSupport.h"

#include <QProcess>

#include <csignal>

namespace tavro {
namespace {

using test::waitUntil;
using test::keyring::account;
using test::keyring::callBus;
using test::keyring::service;

/// KDE's own keychain, open as after a login.
class KWallet : public testing::Test {
protected:
    struct Reading {
        bool isOver = false;
        std::optional<QByteArray> value;
    };

    void SetUp() override {
        test::writeFile(std::filesystem::path(qgetenv("XDG_CONFIG_HOME").toStdString()) / "kwalletrc",
            "[Wallet]\nEnabled=true\nFirst Use=false\nPrompt on Open=false\nDefault Wallet=kdewallet\n");
        daemon.setProcessChannelMode(QProcess::ForwardedChannels);
        daemon.start(u"kwalletd5"_qs, {});
        ASSERT_TRUE(waitUntil([] {
            return callBus(u"org.freedesktop.DBus"_qs, u"/"_qs, u"org.freedesktop.DBus.NameHasOwner"_qs,
                {u"org.kde.kwalletd5"_qs})
                .contains("true");
        }));
        const QString hash = u"["_qs + QStringList(56, u"0x41"_qs).join(u',') + u"]"_qs; // of a password
        call(u"pamOpen"_qs, {u"kdewallet"_qs, hash, u"0"_qs});
        ASSERT_TRUE(call(u"isOpen"_qs, {u"kdewallet"_qs}).contains("true"));
    }
    void TearDown() override {
        daemon.kill();
        daemon.waitForFinished();
    }

    static QByteArray call(const QString& method, const QStringList& arguments) {
        return callBus(
            u"org.kde.kwalletd5"_qs, u"/modules/kwalletd5"_qs, u"org.kde.KWallet."_qs + method, arguments);
    }
    std::shared_ptr<Reading> startToRead() {
        auto reading = std::make_shared<Reading>();
        store.read(service, account, [reading](auto value) { *reading = {true, std::move(value)}; });
        return reading;
    }
    std::optional<QByteArray> read() {
        const auto reading = startToRead();
        EXPECT_TRUE(waitUntil([&] { return reading->isOver; }));
        return reading->value;
    }
    void write(const std::optional<QByteArray>& value) { store.write(service, account, value); }

    const test::ScopedEnvironment desktop{"XDG_CURRENT_DESKTOP", "KDE"};
    const test::ScopedEnvironment version{"KDE_SESSION_VERSION", "5"};
    const test::TemporaryFolder folder;
    KeychainStore store{folder.path() / "secrets.json"};
    QProcess daemon;
};

TEST_F(KWallet, keepsTheTokenAndHoldsNobodyUpWhileItHangs) {
    ::kill(static_cast<pid_t>(daemon.processId()), SIGSTOP);
    const auto reading = startToRead();
    write("first");
    EXPECT_FALSE(waitUntil([&] { return reading->isOver; }, std::chrono::milliseconds(200)));
    ::kill(static_cast<pid_t>(daemon.processId()), SIGCONT);
    EXPECT_TRUE(waitUntil([&] { return reading->isOver; }));
    EXPECT_EQ(reading->value, std::nullopt);
    EXPECT_EQ(read(), "first");
    EXPECT_TRUE(
        call(u"hasEntry"_qs, {call(u"open"_qs, {u"kdewallet"_qs, u"0"_qs, u"test"_qs}).mid(1).split(',')[0],
                                 service, account, u"test"_qs})
            .contains("true"));

    write("sécond");
    EXPECT_EQ(read(), "sécond");
    write(std::nullopt);
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "secrets.json"));
}

} // namespace
} // namespace tavro
