#include "Session/RecordingsFolder.h"

#include "Core/Paths.h"

#include "support/TestSupport.h"

#include <unistd.h>

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

    fs::path ownedByAnother() const { // the superuser alone can make one
        fs::path given = temporary.path() / "given";
        fs::create_directory(given);
        EXPECT_EQ(::chown(given.c_str(), 65534, 65534), 0);
        return given;
    }
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

TEST_F(RecordingsFolderTest, leavesANameAloneThatIsTakenByAnother) {
    const fs::path other = temporary.path() / "other";
    const fs::path link = temporary.path() / "link", file = temporary.path() / "file";
    test::writeFile(other / "one.mp4", "film");
    test::writeFile(other / "one.uploaded", "");
    fs::permissions(other, fs::perms::all);
    fs::create_directory_symlink(other, link);
    test::writeFile(file, "");
    const struct {
        fs::path path;
        QString words;
    } cases[] = {{link, u"is not a folder"_qs}, {file, u"is not a folder"_qs},
        // The superuser, who runs some tests, owns the system's folders.
        {::geteuid() == 0 ? ownedByAnother() : fs::path("/usr"), u"belongs to another user"_qs}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.path);
        const auto before = fs::status(test.path).permissions();
        const RecordingsFolder taken(test.path);
        EXPECT_TRUE(taken.tidy().empty());
        taken.markUploaded(u"two"_qs);
        const auto error = test::errorOf([&] { taken.requireOwn(); });
        EXPECT_EQ(error.domain, u"Tavro.RecordingsFolder");
        EXPECT_TRUE(error.localizedDescription.contains(test.words));
        EXPECT_EQ(fs::status(test.path).permissions(), before);
    }
    EXPECT_EQ(filesIn(other), (QStringList{u"one.mp4"_qs, u"one.uploaded"_qs}));
    EXPECT_NO_THROW(folder.requireOwn());
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
