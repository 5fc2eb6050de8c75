#include "Platform/Desktop/DesktopWorkspace.h"

#include "support/TestSupport.h"

namespace tavro {
namespace {

using test::waitUntil;

class DesktopWorkspaceTest : public testing::Test {
protected:
    void installOpener(const QByteArray& script) {
        const auto opener = folder.path() / "xdg-open";
        test::writeFile(opener, "#!/bin/sh\n" + script + '\n');
        std::filesystem::permissions(opener, std::filesystem::perms::owner_all);
    }
    const test::TemporaryFolder folder;
    const test::ScopedEnvironment path{
        "PATH", QByteArray::fromStdString(folder.path().string()) + ":/usr/bin:/bin"};
    DesktopWorkspace workspace;
};

TEST_F(DesktopWorkspaceTest, handsTheWholeAddressToTheDesktopsOpener) {
    const auto told = folder.path() / "told";
    installOpener("printf '%s\\n' $# \"$1\" >'" + QByteArray::fromStdString(told.string()) + '\'');
    const QByteArray address = "https://tavro.example/auth/app?cb=http://localhost:4711&x=a%20b%22$(id)'";
    EXPECT_TRUE(workspace.open(QUrl::fromEncoded(address)));
    EXPECT_TRUE(waitUntil([&] { return test::readFile(told) == "1\n" + address + '\n'; }));
    EXPECT_TRUE(workspace.open(QUrl::fromLocalFile(QStringLiteral("/tmp/a folder"))));
    EXPECT_TRUE(waitUntil([&] { return test::readFile(told) == "1\nfile:///tmp/a%20folder\n"; }));
}

TEST_F(DesktopWorkspaceTest, waitsForNothing) {
    installOpener("exec sleep 3");
    EXPECT_TRUE(workspace.open(QUrl(QStringLiteral("https://tavro.example/"))));
    installOpener("exit 3"); // the exit code comes after the return
    EXPECT_TRUE(workspace.open(QUrl(QStringLiteral("https://tavro.example/"))));
}

TEST_F(DesktopWorkspaceTest, saysWhenThereIsNothingToStart) {
    const test::ScopedEnvironment onlyHere("PATH", QByteArray::fromStdString(folder.path().string()));
    const QUrl address(QStringLiteral("https://tavro.example/"));
    EXPECT_FALSE(workspace.open(address));
    installOpener("exit 0");
    EXPECT_TRUE(workspace.open(address));
    EXPECT_FALSE(workspace.open(QUrl()));
    EXPECT_FALSE(workspace.open(QUrl(QStringLiteral("--help"))));
}

} // namespace
} // namespace tavro
