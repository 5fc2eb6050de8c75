#include "KeyringControl.h"
#include "Platform/Desktop/SecretServiceStore.h"

#include "support/Programs.h"
#include "support/TestSupport.h"

#include <QProcess>
#include <QThread>

#include <atomic>
#include <csignal>

namespace tavro {
namespace {

namespace keyring = test::keyring;
using keyring::account;
using keyring::service;
using test::waitUntil;

/// A locked keyring, and a user in front of the desktop's own dialogue that asks for the password.
class SecretUnlock : public testing::Test {
protected:
    void SetUp() override {
        prompter.setProcessChannelMode(QProcess::ForwardedChannels);
        prompter.start(u"/usr/libexec/gcr-prompter"_qs, {u"--no-timeout"_qs});
        ASSERT_TRUE(waitUntil([] {
            return keyring::callBus(u"org.freedesktop.DBus"_qs, u"/"_qs,
                u"org.freedesktop.DBus.NameHasOwner"_qs, {u"org.gnome.keyring.SystemPrompter"_qs})
                .contains("true");
        }));
        ASSERT_TRUE(waitUntil([&] { return store.add(service, account, "kept"); }));
        keyring::lock();
        store.setLateHandler([this] { ++late; });
    }
    void TearDown() override {
        prompter.kill();
        prompter.waitForFinished();
    }

    /// The window of the question that is being asked; empty when there is none.
    QString question() {
        const auto search = test::run( // which fails when it finds none
            u"xdotool"_qs, {u"search"_qs, u"--onlyvisible"_qs, u"--class"_qs, u"gcr-prompter"_qs});
        return QString::fromUtf8(search.output).section(u'\n', 0, 0);
    }
    bool isAsked() { return !question().isEmpty(); }
    void answer(const QStringList& keys) {
        QString asked;
        ASSERT_TRUE(waitUntil([&] { return !(asked = question()).isEmpty(); }));
        // Keys that come before the dialogue has the focus are lost: again, until it is gone. But not soon,
        // for they would answer the next.
        const auto isGone = [&] { return question() != asked; };
        EXPECT_TRUE(waitUntil([&] {
            test::run(
                u"xdotool"_qs, QStringList{u"windowactivate"_qs, u"--sync"_qs, asked, u"key"_qs} + keys);
            return waitUntil(isGone, std::chrono::seconds(5));
        }));
    }
    void givePassword() { answer(u"ctrl+a p a s s w o r d Return"_qs.split(u' ')); }
    void choosePassword() { answer(u"ctrl+a p a s s Tab p a s s Return"_qs.split(u' ')); }
    void refuse() { answer({u"Escape"_qs}); }

    const test::TemporaryFolder folder;
    SecretServiceStore store{folder.path() / "secrets.json"};
    std::atomic<int> late = 0; // times that something came for which nobody waited any more
    QProcess prompter;
};

TEST_F(SecretUnlock, makesAReadPossibleLater) {
    EXPECT_EQ(store.read(service, account), std::nullopt);
    EXPECT_EQ(store.read(service, account), std::nullopt) << "there is one question, not one for each read";
    givePassword();
    EXPECT_TRUE(waitUntil([&] { return late == 1; }));
    keyring::signal(SIGSTOP); // nothing more need be asked for what has come
    EXPECT_EQ(store.read(service, account), "kept");
    keyring::signal(SIGCONT);
    EXPECT_FALSE(isAsked());
}

TEST_F(SecretUnlock, letsAChangeBeMadeLater) {
    EXPECT_FALSE(store.remove(service, account));
    EXPECT_FALSE(store.add(service, account, "new"));
    givePassword();
    EXPECT_TRUE(waitUntil([&] { return late == 1; }));
    EXPECT_EQ(keyring::lookedUp(), "new");
}

TEST_F(SecretUnlock, isNotAskedForAgainByReadsButByAChange) {
    EXPECT_EQ(store.read(service, account), std::nullopt);
    refuse();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(store.read(service, account), std::nullopt);
    EXPECT_FALSE(isAsked());
    EXPECT_FALSE(store.add(service, account, "new"));
    givePassword();
    EXPECT_TRUE(waitUntil([&] { return store.read(service, account) == "new"; }));
}

TEST_F(SecretUnlock, refusedToAReadIsAskedForAgainByTheChangeThatWaited) {
    EXPECT_EQ(store.read(service, account), std::nullopt);
    EXPECT_FALSE(store.add(service, account, "new"));
    refuse();
    givePassword();
    EXPECT_TRUE(waitUntil([] { return keyring::lookedUp() == "new"; }));
}

TEST_F(SecretUnlock, refusedToAChangeIsRefusedToAllThatWaited) {
    const test::LogLines log;
    EXPECT_FALSE(store.remove(service, account));
    EXPECT_FALSE(store.add(service, account, "new"));
    refuse();
    EXPECT_TRUE(waitUntil([&] {
        return log.contains(u"[ERROR] secrets: %1 was not stored, the keyring stayed locked"_qs.arg(account));
    }));
    EXPECT_FALSE(isAsked());
    EXPECT_FALSE(store.add(service, account, "newer"));
    givePassword();
    EXPECT_TRUE(waitUntil([] { return keyring::lookedUp() == "newer"; }));
}

TEST_F(SecretUnlock, tellsOfNoTokenThatAChangeIsAboutToReplace) {
    EXPECT_EQ(store.read(service, account), std::nullopt);
    EXPECT_FALSE(store.add(service, account, "new"));
    givePassword();
    EXPECT_TRUE(waitUntil([&] { return late > 0; }));
    EXPECT_EQ(store.read(service, account), "new");
    EXPECT_EQ(late, 1);
}

TEST_F(SecretUnlock, endsWithTheServiceThatAsked) {
    EXPECT_EQ(store.read(service, account), std::nullopt);
    ASSERT_TRUE(waitUntil([&] { return isAsked(); }));
    keyring::stop();
    keyring::start();
    EXPECT_TRUE(waitUntil([&] { return store.read(service, account) == "kept"; }));
}

TEST_F(SecretUnlock, makesAKeyringWhereThereIsNone) {
    keyring::stop();
    keyring::start();
    keyring::remove();
    EXPECT_FALSE(store.add(service, account, "refused"));
    refuse();
    EXPECT_FALSE(store.add(service, account, "first"));
    choosePassword();
    EXPECT_TRUE(waitUntil([] { return keyring::lookedUp() == "first"; }));
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "secrets.json"));
}

} // namespace
} // namespace tavro
