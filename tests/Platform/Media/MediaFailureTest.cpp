#include "Canvas.h"
#include "MediaFiles.h"
#include "Platform/Media/Media.h"
#include "support/TestSupport.h"

#include <QProcess>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <random>
#include <sys/resource.h>

namespace tavro::test {
namespace {

using std::chrono::microseconds;
using namespace std::chrono_literals;

// Writes beyond this file size fail, like on a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limit{bytes, before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &before); }

private:
    rlimit before{};
};

class MediaFailureTest : public ::testing::Test {
protected:
    bool waitForRoom(const AssetWriter& writer, const AssetWriterInput& input) {
        return waitUntil([&] {
            return input.isReadyForMoreMediaData() || writer.status() != AssetWriter::Status::writing;
        }) && input.isReadyForMoreMediaData();
    }

    TemporaryFolder folder;
    std::unique_ptr<AssetWriterFactory> factory = makeAssetWriterFactory();

    /// A take of six seconds with changes in each picture, left in fragments.
    void record(const std::filesystem::path& file) {
        const auto writer = factory->makeAssetWriter(file, FileType::mpeg4);
        const auto input = writer->addVideoInput({320, 192});
        writer->startWriting();
        writer->startSession({0, 1});
        Canvas canvas(320, 192);
        for (int i = 0; i < 60; ++i) {
            canvas.writeText({0, 0, 320, 192}, static_cast<std::uint32_t>(i));
            ASSERT_TRUE(waitForRoom(*writer, *input));
            input->append(canvas.take(100ms * i));
        }
        input->markAsFinished();
        await(writer->finishWriting());
    }
};

TEST_F(MediaFailureTest, AFullDiskEndsTheFileWhereItIs) {
    const LogLines log;
    const auto file = folder.path() / "take.mp4";
    const auto writer = factory->makeAssetWriter(file, FileType::mpeg4);
    const auto input = writer->addVideoInput({320, 192});
    ASSERT_TRUE(writer->startWriting());
    writer->startSession({0, 1});
    Canvas canvas(320, 192);
    microseconds time{0};
    {
        const FileSizeLimit limit(200'000);
        for (int i = 0; i < 2'000 && waitForRoom(*writer, *input); ++i, time += 100ms) {
            canvas.writeText({0, 0, 320, 192}, static_cast<std::uint32_t>(i));
            input->append(canvas.take(time));
        }
        EXPECT_EQ(writer->status(), AssetWriter::Status::failed);
        EXPECT_FALSE(input->append(canvas.take(time + 1s)));
        input->markAsFinished();
        await(writer->finishWriting());
    }
    ASSERT_TRUE(writer->error());
    EXPECT_EQ(describe(writer->error()).code, EFBIG);
    EXPECT_THAT(log.all(),
        ::testing::ElementsAre(QStringLiteral("[ERROR] writer: writing take.mp4 failed: File too large")));
    EXPECT_LE(std::filesystem::file_size(file), 200'000U);
    const auto pictures = decodePictures(file);
    ASSERT_FALSE(pictures.empty());
    EXPECT_GT(pictures.back().time, time - 2s) << "more is gone than there was no room for";
    EXPECT_NO_THROW(ffmpeg(file, {QStringLiteral("-f"), QStringLiteral("null")}));
}

/// Makes an ordinary film of a file in fragments.
void complete(const std::filesystem::path& file, MediaType type) {
    const auto library = makeMediaLibrary();
    const auto asset = library->openAsset(file);
    const auto film = library->makeComposition();
    film->insertTrack(type, asset, asset->duration());
    EXPECT_EQ(library->makeExportSession(*film)->exportTo(file), ExportSession::Status::completed);
}

TEST_F(MediaFailureTest, AFileThatWasCutOffIsCompletedWithItsWholePictures) {
    const auto whole = folder.path() / "whole.mp4";
    record(whole);
    const QByteArray bytes = readFile(whole);
    std::size_t most = 0;
    for (qsizetype size = bytes.size() / 2; size < bytes.size(); size += bytes.size() / 30 + 1) {
        SCOPED_TRACE(size);
        const auto cut = folder.path() / "cut.mp4";
        writeFile(cut, bytes.first(size));
        complete(cut, MediaType::video);
        const auto pictures = decodePictures(cut); // throws on any complaint
        EXPECT_GE(pictures.size(), std::max<std::size_t>(most, 2));
        most = pictures.size();
    }
    EXPECT_GT(most, 40U);
}

TEST_F(MediaFailureTest, AnExportOntoAFullDiskTellsWhy) {
    const auto file = folder.path() / "take.mp4";
    record(file);

    const auto library = makeMediaLibrary();
    const auto asset = library->openAsset(file);
    const auto composition = library->makeComposition();
    composition->insertTrack(MediaType::video, asset, asset->duration());
    const auto session = library->makeExportSession(*composition);
    const auto out = folder.path() / "out.mp4";
    writeFile(out, "before");
    const FileSizeLimit limit(100'000);
    EXPECT_EQ(session->exportTo(out), ExportSession::Status::failed);
    ASSERT_TRUE(session->error());
    EXPECT_TRUE(describe(session->error()).localizedDescription.contains(QStringLiteral("File too large")))
        << describe(session->error()).localizedDescription.toStdString();
    EXPECT_EQ(readFile(out), "before") << "part of a film does not play";
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "out.mp4.finishing"));
}

// Present with sanitizers. They delay freeing, so resident memory says nothing.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

std::int64_t kilobytesInUse() {
    if (&__sanitizer_get_current_allocated_bytes)
        return static_cast<std::int64_t>(__sanitizer_get_current_allocated_bytes() / 1024);
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:"))
            return std::stoll(line.substr(6));
    return 0;
}

TEST_F(MediaFailureTest, AnHourNeedsNoMoreMemoryThanItsFirstMinutes) {
    const auto videoFile = folder.path() / "take.mp4";
    const auto audioFile = folder.path() / "take.m4a";
    const auto video = factory->makeAssetWriter(videoFile, FileType::mpeg4);
    const auto audio = factory->makeAssetWriter(audioFile, FileType::appleM4A);
    const auto pictures = video->addVideoInput({320, 192});
    const auto sound = audio->addAudioInput({16'000, 1, 64'000});
    for (AssetWriter* writer : {video.get(), audio.get()}) {
        ASSERT_TRUE(writer->startWriting());
        writer->startSession({0, 1});
    }
    Canvas canvas(320, 192);
    std::minstd_rand random(3);
    std::vector<std::int16_t> second(16'000);
    std::size_t frames = 0;
    std::int64_t early = 0;
    for (int s = 0; s < 3'600; ++s) {
        if (s == 600)
            early = kilobytesInUse();
        const int busy = s % 60 == 7 ? 60 : 1;
        for (int i = 0; i < busy; ++i, ++frames) {
            if (busy > 1)
                canvas.writeText({i * 4, 64, 64, 64}, static_cast<std::uint32_t>(random()));
            ASSERT_TRUE(waitForRoom(*video, *pictures));
            ASSERT_TRUE(pictures->append(canvas.take(std::chrono::seconds(s) + i * 16'667us)));
        }
        for (auto& sample : second)
            sample = static_cast<std::int16_t>(random() % 2'000);
        ASSERT_TRUE(waitForRoom(*audio, *sound));
        ASSERT_TRUE(sound->append(second, {s * std::int64_t{16'000}, 16'000}));
    }
    EXPECT_LT(kilobytesInUse() - early, 8'000);
    ASSERT_TRUE(waitForRoom(*video, *pictures));
    pictures->append(canvas.take(3'600s));
    for (auto* input : std::initializer_list<AssetWriterInput*>{pictures.get(), sound.get()})
        input->markAsFinished();
    await(video->finishWriting());
    await(audio->finishWriting());
    const auto library = makeMediaLibrary();
    const auto film = library->makeComposition();
    for (const auto& [type, file] : {std::pair(MediaType::video, videoFile), {MediaType::audio, audioFile}}) {
        const auto asset = library->openAsset(file);
        film->insertTrack(type, asset, asset->duration());
    }
    EXPECT_EQ(library->makeExportSession(*film)->exportTo(videoFile), ExportSession::Status::completed)
        << "its index has room, with a chunk for nearly every picture";
    const auto track = videoTrack(videoFile);
    EXPECT_EQ(track.samples.size(), frames + 1);
    EXPECT_EQ(track.samples.back().time, 3'600s);
    EXPECT_LE(track.length() - 3'600s, 100ms);
    EXPECT_LE(std::chrono::abs(audioTrack(videoFile).length() - 3'600s), 70us);
}

struct RunningTake {
    std::filesystem::path video;
    std::filesystem::path audio;
    std::unique_ptr<QProcess> process;
    std::chrono::milliseconds killAt;
    std::chrono::steady_clock::time_point started;
    std::chrono::microseconds lived{0};
    bool killed = false;
};

// Limit from the clock to the disk, with twenty takes on a busy machine.
constexpr auto onItsWay = 100ms;

TEST_F(MediaFailureTest, AKilledProcessLosesASecondAtMost) {
    std::random_device seed;
    std::mt19937 random(seed());
    std::vector<RunningTake> takes;
    for (int i = 0; i < 20; ++i) {
        RunningTake take;
        const auto name = "take" + std::to_string(i);
        take.video = folder.path() / (name + ".mp4");
        take.audio = folder.path() / (name + ".m4a");
        take.killAt = std::chrono::milliseconds(2'000 + random() % 8'000);
        take.process = std::make_unique<QProcess>();
        take.process->start(QStringLiteral(TAVRO_REAL_TIME_TAKE),
            {QString::fromStdString(take.video), QString::fromStdString(take.audio),
                i % 2 == 0 ? QStringLiteral("still") : QStringLiteral("busy")});
        takes.push_back(std::move(take));
    }
    for (auto& take : takes) {
        ASSERT_TRUE(waitUntil([&] { return take.process->bytesAvailable() > 0; }));
        take.started = std::chrono::steady_clock::time_point(
            std::chrono::microseconds(take.process->readAllStandardOutput().trimmed().toLongLong()));
    }
    const auto killThoseDue = [&] {
        for (auto& take : takes)
            if (const auto now = std::chrono::steady_clock::now();
                !take.killed && now - take.started >= take.killAt) {
                ::kill(static_cast<pid_t>(take.process->processId()), SIGKILL);
                take.lived = std::chrono::duration_cast<microseconds>(now - take.started);
                take.killed = true;
            }
        return std::all_of(takes.begin(), takes.end(), [](const auto& take) { return take.killed; });
    };
    ASSERT_TRUE(waitUntil(killThoseDue));
    for (auto& take : takes) {
        ASSERT_TRUE(waitUntil([&] { return take.process->state() == QProcess::NotRunning; }));
        EXPECT_EQ(take.process->exitStatus(), QProcess::CrashExit);
        SCOPED_TRACE(take.video.filename().string() + " lived " + std::to_string(take.lived.count()) + " us");
        complete(take.video, MediaType::video); // as the program does later; the kill may have cut a picture
        complete(take.audio, MediaType::audio);
        EXPECT_GE(videoTrack(take.video).length(), take.lived - 1s - onItsWay);
        EXPECT_GE(audioTrack(take.audio).length(), take.lived - 1s);
        EXPECT_GT(decodePictures(take.video).size(), 1U);
        EXPECT_GT(decodeSound(take.audio).size(), 1U);
    }
}

} // namespace
} // namespace tavro::test
