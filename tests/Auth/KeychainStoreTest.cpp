#include "Platform/Desktop/KeychainStore.h"
#include "KeyringControl.h"

#include "support/Programs.h"
#include "support/TestSupport.h"

#include <QElapsedTimer>

#include <csignal>

namespace tavro {
namespace {

namespace keyring = test::keyring;
using keyring::account;
using keyring::lookedUp;
using keyring::service;
using test::waitUntil;

// Far below the 25 s and more for which libraries wait for a service.
constexpr qint64 soon = 2000;

class KeychainStoreTest : public testing::Test {
protected:
    struct Reading {
        bool isOver = false;
        std::optional<QByteArray> value;
    };

    std::shared_ptr<Reading> startToRead(const QString& from = account) {
        auto reading = std::make_shared<Reading>();
        store->read(service, from, [reading](auto value) { *reading = {true, std::move(value)}; });
        return reading;
    }
    std::optional<QByteArray> read(const QString& from = account) {
        const auto reading = startToRead(from);
        EXPECT_TRUE(waitUntil([&] { return reading->isOver; }));
        return reading->value;
    }
    void write(const std::optional<QByteArray>& value, const QString& to = account) {
        store->write(service, to, value);
    }
    void openStore() { store = std::make_unique<KeychainStore>(file); }

    const test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "tavro" / "secrets.json";
    std::unique_ptr<KeychainStore> store;
};

class WithKeyring : public KeychainStoreTest {
protected:
    void SetUp() override {
        openStore();
        write(std::nullopt);
        ASSERT_EQ(read(), std::nullopt);
        openStore();
    }
};

TEST_F(WithKeyring, keepsWhatOtherClientsFindAndFindsWhatTheyKeep) {
    const QByteArray accented = QStringLiteral("sécond").toUtf8();
    write("first");
    write(accented);
    EXPECT_EQ(read(), accented);
    EXPECT_EQ(lookedUp(), accented);
    write(std::nullopt);
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_EQ(lookedUp(), std::nullopt);
    write(std::nullopt);
    EXPECT_EQ(read(), std::nullopt);

    EXPECT_TRUE(keyring::store("theirs"));
    EXPECT_EQ(read(), "theirs");
    write(std::nullopt);
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_EQ(lookedUp(), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(WithKeyring, keepsAccountsApartAndTextsAsTheyAre) {
    const QByteArray text("a\n\"b\"\t");
    write("");
    write(text, u"another"_qs);
    EXPECT_EQ(read(), QByteArray(""));
    EXPECT_EQ(read(u"another"_qs), text);
    write(std::nullopt);
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_EQ(read(u"another"_qs), text);
    write(std::nullopt, u"another"_qs);
    EXPECT_EQ(read(u"another"_qs), std::nullopt);
}

TEST_F(WithKeyring, isReadByTheNextProcess) {
    write("kept");
    EXPECT_EQ(read(), "kept");
    openStore();
    EXPECT_EQ(read(), "kept");
}

TEST_F(WithKeyring, takesOverWhatVersion01Kept) {
    const QStringList named = keyring::attributesOf01 + QStringList{u"xdg:schema"_qs, service};
    for (const QStringList& attributes : {keyring::attributesOf01, named}) {
        ASSERT_TRUE(keyring::store("old", attributes));
        openStore();
        EXPECT_EQ(read(), "old");
        EXPECT_TRUE(waitUntil([] { return lookedUp() == "old" && !lookedUp(keyring::attributesOf01); }));
        openStore();
        EXPECT_EQ(read(), "old");
        write(std::nullopt);
        EXPECT_EQ(read(), std::nullopt);
    }
}

TEST_F(WithKeyring, bringsBackNothingOfVersion01AfterAChange) {
    for (const auto& value : {std::optional<QByteArray>("new"), std::optional<QByteArray>()}) {
        ASSERT_TRUE(keyring::store("old", keyring::attributesOf01));
        openStore();
        keyring::signal(SIGSTOP);
        const auto reading = startToRead();
        write(value);
        keyring::signal(SIGCONT);
        EXPECT_TRUE(waitUntil([&] { return reading->isOver && !lookedUp(keyring::attributesOf01); }));
        EXPECT_EQ(read(), value);
        EXPECT_EQ(lookedUp(), value);
    }
}

TEST_F(WithKeyring, holdsNobodyUpWhileTheServiceHangs) {
    write("old");
    EXPECT_EQ(read(), "old");
    keyring::signal(SIGSTOP);
    QElapsedTimer elapsed;
    elapsed.start();
    const auto reading = startToRead();
    write("late");
    write(std::nullopt);
    write("new");
    QCoreApplication::processEvents();
    EXPECT_FALSE(waitUntil([&] { return reading->isOver; }, std::chrono::milliseconds(200)));
    EXPECT_LT(elapsed.elapsed(), soon);
    keyring::signal(SIGCONT);
    EXPECT_TRUE(waitUntil([&] { return reading->isOver; }));
    EXPECT_EQ(reading->value, "old");
    EXPECT_EQ(read(), "new") << "the last change is the last that is made";
    EXPECT_EQ(lookedUp(), "new");
    EXPECT_FALSE(std::filesystem::exists(file)) << "a service that hangs is no service that is missing";
}

TEST_F(WithKeyring, endsWhileTheServiceHangs) {
    keyring::signal(SIGSTOP);
    const auto reading = startToRead();
    EXPECT_FALSE(waitUntil([&] { return reading->isOver; }, std::chrono::milliseconds(200)));
    QElapsedTimer elapsed;
    elapsed.start();
    openStore(); // and one that has not even been answered yet
    write("never");
    store.reset();
    EXPECT_LT(elapsed.elapsed(), soon);
    keyring::signal(SIGCONT);
    openStore();
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_FALSE(reading->isOver);
}

TEST_F(WithKeyring, hasNothingWhileItIsLockedAndAllAgainWhenItIsUnlocked) {
    const test::LogLines log;
    write("kept");
    EXPECT_EQ(read(), "kept");
    keyring::lock();
    EXPECT_EQ(read(), std::nullopt);
    write("refused"); // there is nobody to ask for the password
    EXPECT_TRUE(waitUntil([&] {
        return log.contains(u"[ERROR] secrets: %1 was not stored, the keyring stayed locked"_qs.arg(account));
    }));
    write(std::nullopt);
    EXPECT_EQ(read(), std::nullopt);
    keyring::stop();
    keyring::start(); // unlocked, as after a login
    EXPECT_EQ(read(), "kept");
    write("new");
    EXPECT_EQ(read(), "new");
    EXPECT_EQ(lookedUp(), "new");
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(WithKeyring, bridgesTheTimeWithoutAServiceWithAFile) {
    keyring::stop();
    EXPECT_EQ(read(), std::nullopt);
    write("kept in the file");
    EXPECT_EQ(read(), "kept in the file");
    EXPECT_TRUE(std::filesystem::exists(file));
    keyring::start();
    EXPECT_EQ(read(), "kept in the file");
    EXPECT_TRUE(waitUntil([&] { return !std::filesystem::exists(file); })) << "it moves into the service";
    EXPECT_EQ(read(), "kept in the file");
    EXPECT_EQ(lookedUp(), "kept in the file");

    keyring::stop();
    write("newer");
    EXPECT_EQ(read(), "newer");
    keyring::start();
    write("newest");
    EXPECT_TRUE(waitUntil([&] { return !std::filesystem::exists(file); })) << "and gives way to a change";
    EXPECT_EQ(lookedUp(), "newest");
}

/// Where the bus knows how to start the service but that takes its time.
TEST_F(KeychainStoreTest, waitsForAServiceThatStartsSlowlyWithoutHoldingAnybodyUp) {
    openStore();
    write("kept");
    EXPECT_EQ(read(), "kept");
    openStore();
    keyring::stop();
    const QByteArray root = qgetenv("TAVRO_DESKTOP");
    const auto started = std::filesystem::path(root.toStdString()) / "started";
    const auto definition =
        std::filesystem::path(root.toStdString()) / "services/org.freedesktop.secrets.service";
    test::writeFile(definition, "[D-BUS Service]\nName=org.freedesktop.secrets\nExec=/bin/sh -c \"touch " +
                                    root + "/started; exec sleep 60\"\n");
    keyring::callBus(u"org.freedesktop.DBus"_qs, u"/"_qs, u"org.freedesktop.DBus.ReloadConfig"_qs);
    QElapsedTimer elapsed;
    elapsed.start();
    const auto reading = startToRead();
    EXPECT_LT(elapsed.elapsed(), soon);
    EXPECT_TRUE(waitUntil([&] { return std::filesystem::exists(started); }));
    EXPECT_FALSE(reading->isOver);
    keyring::start();
    EXPECT_TRUE(waitUntil([&] { return reading->isOver; }));
    EXPECT_EQ(reading->value, "kept");
    EXPECT_FALSE(std::filesystem::exists(file));
    std::filesystem::remove(definition);
}

/// The last one: there is no bus after it.
using KeychainStoreAfterAll = KeychainStoreTest;

TEST_F(KeychainStoreAfterAll, outlivesTheBus) {
    openStore();
    write("kept");
    EXPECT_EQ(read(), "kept");
    const auto pid =
        test::readFile((qgetenv("TAVRO_DESKTOP") + "/bus.pid").toStdString()).simplified().toInt();
    ASSERT_GT(pid, 0);
    ::kill(pid, SIGTERM);
    EXPECT_TRUE(waitUntil([&] { return read() == std::nullopt; }));
    write("kept in the file");
    EXPECT_TRUE(waitUntil([&] { return std::filesystem::exists(file); }));
    EXPECT_EQ(read(), "kept in the file");
}

} // namespace
} // namespace tavro
