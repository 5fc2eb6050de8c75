#include "KeyringControl.h"
#include "Platform/Desktop/KeychainStore.h"

#include "support/Programs.h"
#include "support/TestSupport.h"

#include <QProcess>
#include <QThread>

#include <csignal>

namespace tavro {
namespace {

namespace keyring = test::keyring;
using keyring::account;
using keyring::service;
using test::waitUntil;

/// A locked keyring, and a user in front of the desktop's own dialogue that asks for the password.
class KeychainUnlock : public testing::Test {
protected:
    void SetUp() override {
        prompter.setProcessChannelMode(QProcess::ForwardedChannels);
        prompter.start(u"/usr/libexec/gcr-prompter"_qs, {u"--no-timeout"_qs});
        ASSERT_TRUE(waitUntil([] {
            return keyring::callBus(u"org.freedesktop.DBus"_qs, u"/"_qs,
                u"org.freedesktop.DBus.NameHasOwner"_qs, {u"org.gnome.keyring.SystemPrompter"_qs})
                .contains("true");
        }));
        write("kept");
        const auto reading = read();
        ASSERT_TRUE(waitUntil([&] { return reading->isOver && keyring::lookedUp() == "kept"; }));
        keyring::lock();
    }
    void TearDown() override {
        prompter.kill();
        prompter.waitForFinished();
    }

    struct Reading {
        bool isOver = false;
        std::optional<QByteArray> value;
    };

    std::shared_ptr<Reading> read() {
        auto reading = std::make_shared<Reading>();
        store->read(service, account, [reading](auto value) { *reading = {true, std::move(value)}; });
        return reading;
    }
    void write(const std::optional<QByteArray>& value) { store->write(service, account, value); }

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
    std::unique_ptr<KeychainStore> store = std::make_unique<KeychainStore>(folder.path() / "secrets.json");
    QProcess prompter;
};

TEST_F(KeychainUnlock, makesAReadPossibleLater) {
    const auto first = read(), second = read();
    ASSERT_TRUE(waitUntil([&] { return isAsked(); }));
    EXPECT_FALSE(first->isOver);
    givePassword();
    EXPECT_TRUE(waitUntil([&] { return first->isOver && second->isOver; })) << "there is one question";
    EXPECT_EQ(first->value, "kept");
    EXPECT_EQ(second->value, "kept");
    EXPECT_FALSE(isAsked());
}

TEST_F(KeychainUnlock, letsAChangeBeMadeLater) {
    write("newer");
    write("new");
    givePassword();
    EXPECT_TRUE(waitUntil([] { return keyring::lookedUp() == "new"; }));
}

TEST_F(KeychainUnlock, letsARemovalBeMadeLater) {
    write(std::nullopt);
    givePassword();
    EXPECT_TRUE(waitUntil([] { return !keyring::lookedUp(); }));
}

TEST_F(KeychainUnlock, refusedToAReadIsAskedForAgainByAChange) {
    const auto reading = read();
    refuse();
    EXPECT_TRUE(waitUntil([&] { return reading->isOver; }));
    EXPECT_EQ(reading->value, std::nullopt);
    EXPECT_FALSE(isAsked());
    write("new");
    givePassword();
    EXPECT_TRUE(waitUntil([] { return keyring::lookedUp() == "new"; }));
}

TEST_F(KeychainUnlock, refusedToAReadIsAskedForAgainByTheChangeThatWaited) {
    const auto reading = read();
    write("new");
    refuse();
    givePassword();
    EXPECT_TRUE(waitUntil([] { return keyring::lookedUp() == "new"; }));
    EXPECT_EQ(reading->value, std::nullopt);
}

TEST_F(KeychainUnlock, refusedToAChangeLeavesWhatWasStored) {
    const test::LogLines log;
    write("new");
    refuse();
    EXPECT_TRUE(waitUntil([&] {
        return log.contains(u"[ERROR] secrets: %1 was not stored, the keyring stayed locked"_qs.arg(account));
    }));
    EXPECT_FALSE(isAsked());
    write("newer");
    givePassword();
    EXPECT_TRUE(waitUntil([] { return keyring::lookedUp() == "newer"; }));
}

TEST_F(KeychainUnlock, isAskedForOnceForATokenOfVersion01) {
    keyring::stop();
    keyring::start();
    write(std::nullopt);
    ASSERT_TRUE(waitUntil([] { return !keyring::lookedUp(); }));
    ASSERT_TRUE(keyring::store("old", keyring::attributesOf01));
    keyring::lock();
    store = std::make_unique<KeychainStore>(folder.path() / "secrets.json");
    const auto reading = read();
    givePassword();
    EXPECT_TRUE(waitUntil(
        [] { return keyring::lookedUp() == "old" && !keyring::lookedUp(keyring::attributesOf01); }));
    EXPECT_EQ(reading->value, "old");
    EXPECT_FALSE(isAsked());
}

TEST_F(KeychainUnlock, tellsNobodyWhoHasGone) {
    keyring::stop();
    keyring::start();
    write(std::nullopt);
    ASSERT_TRUE(waitUntil([] { return !keyring::lookedUp(); }));
    for (const auto& attributes : {keyring::attributesNow, keyring::attributesOf01}) {
        ASSERT_TRUE(keyring::store("kept", attributes));
        keyring::lock();
        const auto reading = read();
        ASSERT_TRUE(waitUntil([&] { return isAsked(); }));
        store = std::make_unique<KeychainStore>(folder.path() / "secrets.json");
        givePassword();
        const auto later = read();
        EXPECT_TRUE(waitUntil([&] { return later->isOver; }));
        EXPECT_EQ(later->value, "kept");
        EXPECT_FALSE(reading->isOver);
        write(std::nullopt);
        ASSERT_TRUE(waitUntil([&] { return !keyring::lookedUp() && !keyring::lookedUp(attributes); }));
    }
}

TEST_F(KeychainUnlock, makesAKeyringWhereThereIsNone) {
    keyring::stop();
    keyring::start();
    const auto reading = read();
    ASSERT_TRUE(waitUntil([&] { return reading->isOver; }));
    keyring::remove();
    const test::LogLines log;
    write("refused");
    refuse();
    EXPECT_TRUE(waitUntil([&] { return !log.all().isEmpty(); }));
    EXPECT_TRUE(log.all().first().startsWith(u"[ERROR] secrets: %1 was not stored"_qs.arg(account)));
    write("first");
    choosePassword();
    EXPECT_TRUE(waitUntil([] { return keyring::lookedUp() == "first"; }));
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "secrets.json"));
}

} // namespace
} // namespace tavro
