#include "Platform/Desktop/SecretServiceStore.h"
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

// Far below the 25 s and more for which libraries wait for a service, far above what a busy machine adds to
// 100 ms.
constexpr qint64 soon = 2000;

class SecretServiceStoreTest : public testing::Test {
protected:
    std::optional<QByteArray> read() { return store->read(service, account); }
    // What succeeds may take longer than a caller waits for when the machine is busy.
    bool reads(const std::optional<QByteArray>& value, const QString& of = account) {
        return waitUntil([&] { return store->read(service, of) == value; });
    }
    bool adds(const QByteArray& value, const QString& to = account) {
        return waitUntil([&] { return store->add(service, to, value); });
    }
    bool removes(const QString& from = account) {
        return waitUntil([&] { return store->remove(service, from); });
    }
    void openStore() { store = std::make_unique<SecretServiceStore>(file); }

    const test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "tavro" / "secrets.json";
    std::unique_ptr<SecretServiceStore> store;
};

class WithKeyring : public SecretServiceStoreTest {
protected:
    void SetUp() override {
        openStore();
        ASSERT_TRUE(removes());
    }
};

TEST_F(WithKeyring, keepsWhatOtherClientsFindAndFindsWhatTheyKeep) {
    const QByteArray accented = QStringLiteral("sécond").toUtf8();
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_TRUE(adds("first"));
    EXPECT_TRUE(adds(accented));
    EXPECT_TRUE(reads(accented));
    EXPECT_EQ(lookedUp(), accented);
    EXPECT_TRUE(removes());
    EXPECT_EQ(lookedUp(), std::nullopt);
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_TRUE(removes());

    const QStringList storing{u"store"_qs, u"--label=x"_qs, u"service"_qs, service, u"account"_qs, account};
    EXPECT_EQ(test::run(u"secret-tool"_qs, storing, "theirs").exitCode, 0);
    EXPECT_TRUE(reads("theirs"));
    EXPECT_TRUE(removes());
    EXPECT_EQ(lookedUp(), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(WithKeyring, keepsAccountsApartAndBytesAsTheyAre) {
    const QByteArray bytes("\0\xff\n\"", 4);
    EXPECT_TRUE(adds(""));
    EXPECT_TRUE(adds(bytes, u"another"_qs));
    EXPECT_TRUE(reads(QByteArray()));
    EXPECT_TRUE(reads(bytes, u"another"_qs));
    EXPECT_TRUE(removes());
    EXPECT_TRUE(reads(bytes, u"another"_qs));
    EXPECT_EQ(store->read(u"other service"_qs, u"another"_qs), std::nullopt);
    EXPECT_TRUE(removes(u"another"_qs));
}

TEST_F(WithKeyring, isReadAtOnceByTheNextProcess) {
    EXPECT_TRUE(adds("kept"));
    openStore();
    EXPECT_TRUE(reads("kept"));
}

TEST_F(WithKeyring, holdsNobodyUpWhileTheServiceHangs) {
    EXPECT_TRUE(adds("old"));
    keyring::signal(SIGSTOP);
    QElapsedTimer elapsed;
    elapsed.start();
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_FALSE(store->add(service, account, "late"));
    EXPECT_FALSE(store->remove(service, account));
    EXPECT_FALSE(store->add(service, account, "new"));
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_LT(elapsed.elapsed(), soon);
    keyring::signal(SIGCONT);
    EXPECT_TRUE(reads("new")) << "the last change is the one that is made";
    EXPECT_TRUE(adds("newest"));
    EXPECT_EQ(lookedUp(), "newest") << "nothing of the changes before comes after it";
    EXPECT_FALSE(std::filesystem::exists(file)) << "a service that hangs is no service that is missing";
}

TEST_F(WithKeyring, endsWhileTheServiceHangs) {
    keyring::signal(SIGSTOP);
    EXPECT_FALSE(store->add(service, account, "never"));
    QElapsedTimer elapsed;
    elapsed.start();
    store.reset();
    EXPECT_LT(elapsed.elapsed(), soon);
    openStore(); // and one that has not even been answered yet
    store.reset();
    EXPECT_LT(elapsed.elapsed(), soon);
    keyring::signal(SIGCONT);
}

TEST_F(WithKeyring, hasNothingWhileItIsLockedAndAllAgainWhenItIsUnlocked) {
    EXPECT_TRUE(adds("kept"));
    keyring::lock();
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_FALSE(store->add(service, account, "refused")) << "there is nobody to ask for the password";
    EXPECT_FALSE(store->remove(service, account));
    keyring::stop();
    keyring::start(); // unlocked, as after a login
    EXPECT_TRUE(reads("kept"));
    EXPECT_TRUE(adds("new"));
    EXPECT_EQ(lookedUp(), "new");
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(WithKeyring, bridgesTheTimeWithoutAServiceWithAFile) {
    keyring::stop();
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_TRUE(adds("kept in the file"));
    EXPECT_EQ(read(), "kept in the file");
    EXPECT_TRUE(std::filesystem::exists(file));
    keyring::start();
    EXPECT_TRUE(reads("kept in the file"));
    EXPECT_TRUE(waitUntil([&] { return !std::filesystem::exists(file); })) << "it moves into the service";
    EXPECT_TRUE(reads("kept in the file"));
    EXPECT_EQ(lookedUp(), "kept in the file");
}

TEST_F(WithKeyring, servesSeveralThreadsAtOnce) {
    EXPECT_TRUE(adds("value"));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([this, t] {
            const QString mine = u"account %1"_qs.arg(t);
            for (int i = 0; i < 10; ++i) {
                EXPECT_TRUE(adds(QByteArray::number(i), mine));
                EXPECT_TRUE(reads(QByteArray::number(i), mine));
            }
            EXPECT_TRUE(removes(mine));
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(reads("value"));
}

/// Where the bus knows how to start the service but that takes its time.
TEST_F(SecretServiceStoreTest, waitsForNoServiceThatStartsSlowlyButFindsItLater) {
    openStore();
    ASSERT_TRUE(adds("kept"));
    store.reset();
    keyring::stop();
    const QByteArray root = qgetenv("TAVRO_DESKTOP");
    const auto definition =
        std::filesystem::path(root.toStdString()) / "services/org.freedesktop.secrets.service";
    test::writeFile(
        definition, "[D-BUS Service]\nName=org.freedesktop.secrets\nExec=/bin/sh -c \"sleep 1; touch " +
                        root + "/started; exec sleep 60\"\n");
    keyring::callBus(u"org.freedesktop.DBus"_qs, u"/"_qs, u"org.freedesktop.DBus.ReloadConfig"_qs);
    QElapsedTimer elapsed;
    elapsed.start();
    openStore();
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_LT(elapsed.elapsed(), soon);
    EXPECT_TRUE(waitUntil([&] { return std::filesystem::exists(root.toStdString() + "/started"); }))
        << "the service is started without being asked for anything";
    EXPECT_EQ(read(), std::nullopt);
    keyring::start();
    EXPECT_TRUE(reads("kept"));
    EXPECT_FALSE(std::filesystem::exists(file));
    std::filesystem::remove(definition);
}

} // namespace
} // namespace tavro
