#include "Auth/KeychainHelper.h"
#include "Platform/Fake/FakeSecretStore.h"

#include <gtest/gtest.h>

namespace tavro {
namespace {

class KeychainHelperTest : public testing::Test {
protected:
    const std::shared_ptr<FakeSecretStore> store = std::make_shared<FakeSecretStore>();
    const KeychainHelper keychain{store};
    const QString service = QStringLiteral("com.quembridge.tavro");
};

TEST_F(KeychainHelperTest, keepsTheLastTextOfAnAccount) {
    EXPECT_EQ(keychain.get(apiTokenAccount), std::nullopt);
    keychain.remove(apiTokenAccount);
    EXPECT_TRUE(keychain.set(u"first"_qs, apiTokenAccount));
    EXPECT_TRUE(keychain.set(u"sécond"_qs, apiTokenAccount));
    EXPECT_TRUE(keychain.set(u"other"_qs, u"another account"_qs));
    EXPECT_EQ(keychain.get(apiTokenAccount), u"sécond"_qs);
    EXPECT_EQ(store->read(service, u"tavro-worker-auth-token"_qs), "s\xc3\xa9"
                                                                   "cond");
    keychain.remove(apiTokenAccount);
    EXPECT_EQ(keychain.get(apiTokenAccount), std::nullopt);
    EXPECT_EQ(keychain.get(u"another account"_qs), u"other"_qs);
}

TEST_F(KeychainHelperTest, tellsAnEmptyTextFromNone) {
    EXPECT_TRUE(keychain.set(QString(), apiTokenAccount));
    EXPECT_EQ(keychain.get(apiTokenAccount), u""_qs);
}

TEST_F(KeychainHelperTest, hasNoValueForWhatIsNoText) {
    store->add(service, apiTokenAccount, "\xff\xfe");
    EXPECT_EQ(keychain.get(apiTokenAccount), std::nullopt);
}

TEST_F(KeychainHelperTest, reportsAFailedWriteAndSwallowsTheRest) {
    ASSERT_TRUE(keychain.set(u"old"_qs, apiTokenAccount));
    store->failing = {FakeSecretStore::Step::remove};
    EXPECT_FALSE(keychain.set(u"new"_qs, apiTokenAccount)) << "the old item is in the way";
    EXPECT_EQ(keychain.get(apiTokenAccount), u"old"_qs);
    keychain.remove(apiTokenAccount);

    store->failing = {FakeSecretStore::Step::read};
    EXPECT_EQ(keychain.get(apiTokenAccount), std::nullopt);
    store->failing = {FakeSecretStore::Step::add};
    EXPECT_FALSE(keychain.set(u"new"_qs, apiTokenAccount));
    EXPECT_EQ(keychain.get(apiTokenAccount), std::nullopt);
}

} // namespace
} // namespace tavro
