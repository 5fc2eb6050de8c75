#include "Platform/Desktop/SecretServiceStore.h"

#include "support/TestSupport.h"

#include <sys/stat.h>

namespace tavro {
namespace {

using test::waitUntil;

const QString service = QStringLiteral("com.quembridge.tavro");
const QString account = QStringLiteral("tavro-worker-auth-token");

/// A desktop without a session bus.
class WithoutSecretService : public testing::Test {
protected:
    std::optional<QByteArray> read() { return store->read(service, account); }
    bool adds(const QByteArray& value, const QString& to = account) {
        return waitUntil([&] { return store->add(service, to, value); });
    }
    bool removes(const QString& from = account) {
        return waitUntil([&] { return store->remove(service, from); });
    }
    void openStore() { store = std::make_unique<SecretServiceStore>(file); }

    const test::ScopedEnvironment bus{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent"};
    const test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "tavro" / "secrets.json";
    std::unique_ptr<SecretServiceStore> store;
};

TEST_F(WithoutSecretService, keepsSecretsInAPrivateFile) {
    const ::mode_t before = ::umask(0);
    openStore();
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(file.parent_path()));
    EXPECT_TRUE(adds("secret"));
    EXPECT_TRUE(adds(QByteArray("\0", 1), u"another"_qs));
    ::umask(before);
    EXPECT_EQ(read(), "secret");
    using std::filesystem::perms;
    const auto permissions = [](const auto& path) { return std::filesystem::status(path).permissions(); };
    EXPECT_EQ(permissions(file), perms::owner_read | perms::owner_write);
    EXPECT_EQ(permissions(file.parent_path()), perms::owner_all);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(file.parent_path()), {}), 1)
        << "nothing left over";

    openStore();
    EXPECT_EQ(read(), "secret");
    EXPECT_TRUE(removes());
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_EQ(store->read(service, u"another"_qs), QByteArray("\0", 1));
    EXPECT_TRUE(removes(u"another"_qs));
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(WithoutSecretService, reportsAFileThatCannotBeWritten) {
    test::writeFile(folder.path() / "tavro", "a file where the folder should be");
    openStore();
    EXPECT_FALSE(store->add(service, account, "secret"));
    EXPECT_EQ(read(), std::nullopt);
}

} // namespace
} // namespace tavro
