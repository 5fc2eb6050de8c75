#include "Session/RecordingsFolder.h"

#include "Core/Paths.h"

#include "support/TestSupport.h"

namespace tavro {
namespace {

namespace fs = std::filesystem;

QStringList filesIn(const fs::path& folder) {
    QStringList names;
    for (const auto& entry : fs::directory_iterator(folder))
        names << Paths::toText(entry.path().filename());
    names.sort();
    return names;
}

struct RecordingsFolderTest : testing::Test {
    test::TemporaryFolder temporary;
    fs::path path = temporary.path() / "cache" / "Tavro-recordings";
    RecordingsFolder folder{path};
};

TEST_F(RecordingsFolderTest, isForItsUserAlone) {
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
    fs::permissions(path, fs::perms::all);
    const RecordingsFolder again(path);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
    folder.markUploaded(u"one"_qs);
    EXPECT_EQ(
        fs::status(path / "one.uploaded").permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(RecordingsFolderTest, namesTheFilesOfASessionWithinItself) {
    EXPECT_EQ(folder.video(u"abc"_qs), path / "abc.mp4");
    EXPECT_EQ(folder.muxed(u"abc"_qs), path / "abc-muxed.mp4");
    EXPECT_EQ(folder.video(u"../../etc/x"_qs).parent_path(), path);
}

TEST_F(RecordingsFolderTest, keepsAndNamesWhatWasNeverUploaded) {
    for (const char* name :
        {"one.mp4", "one.m4a", "one-muxed.mp4", "on.mp4", "one.more.mp4", "two.mp4", "two.m4a", "three.mp4"})
        test::writeFile(path / name, "film");
    fs::create_directory(path / "folder.mp4");
    folder.markUploaded(u"one"_qs);
    folder.markUploaded(u"three"_qs);
    folder.markUploaded(u"files are gone"_qs);

    const test::LogLines log;
    const std::vector<fs::path> kept{
        path / "on.mp4", path / "one.more.mp4", path / "two.m4a", path / "two.mp4"};
    EXPECT_EQ(folder.tidy(), kept);
    EXPECT_EQ(filesIn(path),
        (QStringList{u"folder.mp4"_qs, u"on.mp4"_qs, u"one.more.mp4"_qs, u"two.m4a"_qs, u"two.mp4"_qs}));
    ASSERT_EQ(log.all().size(), static_cast<qsizetype>(kept.size()));
    for (std::size_t i = 0; i < kept.size(); ++i)
        EXPECT_EQ(log.all().at(static_cast<qsizetype>(i)),
            u"[INFO] recordings: kept %1, its session was never uploaded"_qs.arg(Paths::toText(kept[i])));
}

TEST_F(RecordingsFolderTest, hasNothingToDoWhereNothingIs) {
    EXPECT_TRUE(folder.tidy().empty());
    fs::remove(path);
    const test::LogLines log;
    EXPECT_TRUE(folder.tidy().empty());
    folder.markUploaded(u"one"_qs);
    EXPECT_TRUE(log.all().isEmpty());
    EXPECT_TRUE(RecordingsFolder("/proc/not/possible").tidy().empty());
}

} // namespace
} // namespace tavro
