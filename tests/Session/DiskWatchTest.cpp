#include "Session/DiskWatch.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

namespace tavro::test {
namespace {

using Bytes = DiskWatch::Bytes;

class DiskWatchTest : public ::testing::Test {
protected:
    TemporaryFolder folder;
    std::optional<Bytes> free;
    DiskWatch disk{folder.path(), [this](const std::filesystem::path& asked) {
                       EXPECT_EQ(asked, folder.path());
                       return free;
                   }};
};

TEST_F(DiskWatchTest, aTakeNeedsAGigabyteToBegin) {
    struct Case {
        std::optional<Bytes> free;
        bool tooFew;
    };
    for (const auto& [bytes, tooFew] :
        {Case{1'000'000'000, false}, Case{999'999'999, true}, Case{0, true}, Case{std::nullopt, false}}) {
        free = bytes;
        EXPECT_EQ(disk.tooFewToBegin(), tooFew ? bytes : std::nullopt);
    }
}

TEST_F(DiskWatchTest, aTakeEndsOnceWhileItsFilmStillFits) {
    std::vector<Bytes> told;
    Bytes takeSize = 200'000'000;
    int looks = 0;
    disk.watch(
        [&] {
            ++looks;
            return takeSize;
        },
        [&](Bytes bytes) { told.push_back(bytes); });
    free = 500'000'000; // the reserve and as much as the take has
    ASSERT_TRUE(waitUntil([&] { return looks > 0; }));
    EXPECT_TRUE(told.empty());
    takeSize += 1;
    ASSERT_TRUE(waitUntil([&] { return !told.empty(); }));
    EXPECT_EQ(told, std::vector<Bytes>{500'000'000});
    const int looksThen = looks;
    free = 0;
    EXPECT_FALSE(waitUntil([&] { return looks > looksThen; }, std::chrono::seconds(3))) << "told once a take";
}

TEST_F(DiskWatchTest, asksTheFileSystem) {
    const DiskWatch real("/proc"); // holds nothing, and nothing is free there
    EXPECT_EQ(real.tooFewToBegin(), Bytes{0});
    EXPECT_EQ(DiskWatch("/nowhere").tooFewToBegin(), std::nullopt);
}

} // namespace
} // namespace tavro::test
