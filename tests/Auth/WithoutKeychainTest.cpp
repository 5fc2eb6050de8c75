#include "Platform/Desktop/KeychainStore.h"

#include "support/TestSupport.h"

#include <sys/stat.h>

namespace tavro {
namespace {

const QString service = QStringLiteral("com.quembridge.tavro");
const QString account = QStringLiteral("tavro-worker-auth-token");

/// A desktop without a session bus.
class WithoutKeychain : public testing::Test {
protected:
    std::optional<QByteArray> read(const QString& from = account) {
        std::optional<QByteArray> found;
        store->read(service, from, [&](auto value) { found = value; });
        return found;
    }
    void write(const std::optional<QByteArray>& value, const QString& to = account) {
        store->write(service, to, value);
    }
    void openStore() { store = std::make_unique<KeychainStore>(file); }

    const test::ScopedEnvironment bus{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent"};
    const test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "tavro" / "secrets.json";
    std::unique_ptr<KeychainStore> store;
};

TEST_F(WithoutKeychain, keepsSecretsInAPrivateFile) {
    const ::mode_t before = ::umask(0);
    openStore();
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(file.parent_path()));
    write("secret");
    write("s\xc3\xa9", u"another"_qs);
    ::umask(before);
    EXPECT_EQ(read(), "secret");
    EXPECT_EQ(test::readFile(file),
        R"({"com.quembridge.tavro":{"another":"c8Op","tavro-worker-auth-token":"c2VjcmV0"}})");
    using std::filesystem::perms;
    const auto permissions = [](const auto& path) { return std::filesystem::status(path).permissions(); };
    EXPECT_EQ(permissions(file), perms::owner_read | perms::owner_write);
    EXPECT_EQ(permissions(file.parent_path()), perms::owner_all);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(file.parent_path()), {}), 1)
        << "nothing left over";

    openStore();
    EXPECT_EQ(read(), "secret");
    write(std::nullopt);
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_EQ(read(u"another"_qs), "s\xc3\xa9");
    write(std::nullopt, u"another"_qs);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(WithoutKeychain, reportsAFileThatCannotBeWritten) {
    test::writeFile(folder.path() / "tavro", "a file where the folder should be");
    openStore();
    const test::LogLines log;
    write("secret");
    ASSERT_EQ(log.all().size(), 1);
    EXPECT_TRUE(log.all().first().startsWith(u"[ERROR] secrets: %1 was not stored: "_qs.arg(account)));
    EXPECT_EQ(read(), std::nullopt);
}

} // namespace
} // namespace tavro
