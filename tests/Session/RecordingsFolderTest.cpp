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
    for (const char* name : {"one.mp4", "one.m4a", "one-muxed.mp4", "on.mp4", "one.more.mp4", "two.mp4",
             "two.m4a", "two-muxed.mp4", "three.mp4", "four.mp4", "four.m4a", "five.m4a", "six.mp4.finishing",
             "notes.txt"})
        test::writeFile(path / name, "film");
    fs::last_write_time(
        path / "six.mp4.finishing", fs::file_time_type::clock::now() - std::chrono::minutes(2));
    test::writeFile(path / "seven.mp4.finishing", "film"); // another instance may be at it
    fs::create_directory(path / "folder.mp4");
    folder.markUploaded(u"one"_qs);
    folder.markUploaded(u"three"_qs);
    folder.markUploaded(u"files are gone"_qs);

    const test::LogLines log;
    const std::vector<fs::path> recordings{
        path / "five.m4a", path / "four.mp4", path / "on.mp4", path / "one.more.mp4", path / "two-muxed.mp4"};
    EXPECT_EQ(folder.tidy(), recordings);
    QStringList kept{u"five.m4a"_qs, u"four.m4a"_qs, u"four.mp4"_qs, u"notes.txt"_qs, u"on.mp4"_qs,
        u"one.more.mp4"_qs, u"seven.mp4.finishing"_qs, u"two-muxed.mp4"_qs, u"two.m4a"_qs, u"two.mp4"_qs};
    QStringList lines;
    for (const QString& name : kept)
        lines << u"[INFO] recordings: kept %1/%2, its session was never uploaded"_qs.arg(
            Paths::toText(path), name);
    EXPECT_EQ(log.all(), lines);
    EXPECT_EQ(filesIn(path), (kept << u"folder.mp4"_qs, kept.sort(), kept));
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
