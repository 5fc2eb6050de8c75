#include "Auth/KeychainHelper.h"
#include "Platform/Fake/FakeSecretStore.h"

#include <gtest/gtest.h>

namespace tavro {
namespace {

class KeychainHelperTest : public testing::Test {
protected:
    void load(const QString& account = apiTokenAccount) {
        keychain->load(account, [this] { ++answers; });
    }
    std::optional<QString> get() const { return keychain->get(apiTokenAccount); }

    const std::shared_ptr<FakeSecretStore> store = std::make_shared<FakeSecretStore>();
    std::optional<KeychainHelper> keychain{store};
    QByteArray& stored() { return store->items[{u"com.quembridge.tavro"_qs, u"tavro-worker-auth-token"_qs}]; }
    int answers = 0;
};

TEST_F(KeychainHelperTest, keepsTheLastTextOfAnAccount) {
    EXPECT_EQ(get(), std::nullopt);
    keychain->remove(apiTokenAccount);
    keychain->set(u"first"_qs, apiTokenAccount);
    keychain->set(u"sécond"_qs, apiTokenAccount);
    keychain->set(u"other"_qs, u"another account"_qs);
    EXPECT_EQ(get(), u"sécond"_qs);
    EXPECT_EQ(stored(), "s\xc3\xa9"
                        "cond");
    keychain->remove(apiTokenAccount);
    EXPECT_EQ(get(), std::nullopt);
    EXPECT_EQ(store->items.size(), 1U);
    EXPECT_EQ(keychain->get(u"another account"_qs), u"other"_qs);
}

TEST_F(KeychainHelperTest, readsWhatIsTextOnceAndHoldsIt) {
    const struct {
        QByteArray bytes;
        std::optional<QString> text;
    } cases[] = {
        {"token", u"token"_qs},
        {"s\xc3\xa9", u"sé"_qs},
        {"", u""_qs},
        {"\xff\xfe", std::nullopt},
    };
    for (const auto& test : cases) {
        keychain.emplace(store);
        stored() = test.bytes;
        EXPECT_EQ(get(), std::nullopt) << "nothing was read yet";
        load();
        EXPECT_EQ(get(), test.text);
        stored() = "changed by others";
        EXPECT_EQ(get(), test.text);
    }
    store->items.clear();
    keychain.emplace(store);
    load();
    EXPECT_EQ(get(), std::nullopt);
    EXPECT_EQ(answers, 5);
}

TEST_F(KeychainHelperTest, letsAChangeWinOverALateAnswer) {
    store->answersLate = true;
    stored() = "old";
    load();
    keychain->set(u"new"_qs, apiTokenAccount);
    const KeychainHelper copy = *keychain;
    stored() = "old";
    store->answer();
    EXPECT_EQ(answers, 1);
    EXPECT_EQ(copy.get(apiTokenAccount), u"new"_qs);

    keychain.emplace(store);
    load();
    keychain->remove(apiTokenAccount);
    stored() = "old";
    store->answer();
    EXPECT_EQ(get(), std::nullopt);
}

TEST_F(KeychainHelperTest, isToldOfNoAnswerOnceItIsGone) {
    store->answersLate = true;
    load();
    keychain.reset();
    store->answer();
    EXPECT_EQ(answers, 0);
}

TEST_F(KeychainHelperTest, holdsWhatCouldNotBeWritten) {
    stored() = "old";
    load();
    store->failsToWrite = true;
    keychain->set(u"new"_qs, apiTokenAccount);
    EXPECT_EQ(get(), u"new"_qs);
    EXPECT_EQ(stored(), "old");
    keychain->remove(apiTokenAccount);
    EXPECT_EQ(get(), std::nullopt);
}

} // namespace
} // namespace tavro
