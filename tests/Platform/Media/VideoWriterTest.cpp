#include "Canvas.h"
#include "MediaFiles.h"
#include "Platform/Media/Media.h"
#include "support/Programs.h"
#include "support/TestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QRegularExpression>

#include <algorithm>
#include <sys/stat.h>
#include <thread>

namespace tavro::test {
namespace {

using std::chrono::microseconds;
using namespace std::chrono_literals;
using ::testing::ElementsAre;

constexpr int width = 320;
constexpr int height = 192;

class VideoWriterTest : public ::testing::Test {
protected:
    void SetUp() override { open("take.mp4"); }

    void open(const std::string& name, VideoSettings settings = {width, height}) {
        file = folder.path() / name;
        writer = factory->makeAssetWriter(file, FileType::mpeg4);
        input = writer->addVideoInput(settings);
        ASSERT_TRUE(input);
    }

    void start(microseconds time) {
        ASSERT_TRUE(writer->startWriting());
        writer->startSession({time.count(), std::micro::den});
    }

    // Waits for room first.
    void append(const VideoFramePtr& frame) {
        ASSERT_TRUE(waitUntil([&] {
            return input->isReadyForMoreMediaData() || writer->status() != AssetWriter::Status::writing;
        }));
        ASSERT_TRUE(input->append(frame));
    }

    void finish() {
        input->markAsFinished();
        await(writer->finishWriting());
        complete(file);
    }

    TemporaryFolder folder;
    std::unique_ptr<AssetWriterFactory> factory = makeAssetWriterFactory();
    std::filesystem::path file;
    std::unique_ptr<AssetWriter> writer;
    std::shared_ptr<VideoWriterInput> input;
    Canvas canvas{width, height};
};

TEST_F(VideoWriterTest, WritesEveryFrameAtItsMicrosecond) {
    const microseconds zero = 86'400s + 123'457us;
    const std::vector<microseconds> times{
        0us, 16'667us, 16'668us, 50'001us, 733'333us, 1'900'000us, 5'000'017us};
    start(zero);
    for (const auto time : times) {
        canvas.fill({32, 32, 64, 64}, {static_cast<std::uint8_t>(time.count() % 250), 40, 80});
        append(canvas.take(zero + time));
    }
    finish();

    EXPECT_EQ(writer->status(), AssetWriter::Status::completed);
    EXPECT_FALSE(writer->error());
    EXPECT_THAT(boxes(file), ElementsAre("ftyp", "moov", "free", "free", "mdat"));
    const auto track = videoTrack(file);
    EXPECT_EQ(track.codec, "h264");
    EXPECT_EQ(track.width, width);
    EXPECT_EQ(track.height, height);
    EXPECT_TRUE(track.hasExpectedColours);
    std::vector<microseconds> written;
    for (const auto& sample : track.samples)
        written.push_back(sample.time);
    EXPECT_EQ(written, times);
    EXPECT_LT(track.samples.back().duration, 50ms);
    EXPECT_GT(track.samples.back().duration, 0ms);

    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST_F(VideoWriterTest, ClaimsNoFixedFrameRate) {
    start(0us);
    append(canvas.take(0us));
    finish();
    const auto headers =
        run(QStringLiteral("ffmpeg"), QStringLiteral("-i %1 -c copy -bsf:v trace_headers -f null -")
                                          .arg(QString::fromStdString(file.string()))
                                          .split(u' '));
    const QString told = QString::fromUtf8(headers.complaints).simplified();
    EXPECT_TRUE(told.contains(QRegularExpression(QStringLiteral("timing_info_present_flag \\d+ = 1"))));
    EXPECT_TRUE(told.contains(QRegularExpression(QStringLiteral("fixed_frame_rate_flag \\d+ = 0"))));
}

TEST_F(VideoWriterTest, KeyFramesComeByTime) {
    start(0us);
    for (int i = 0; i < 40; ++i) // frames of a still screen, slightly late
        append(canvas.take(std::chrono::microseconds(1'003'000) * i));
    for (int i = 0; i < 400; ++i)
        append(canvas.take(40s + 50ms * i));
    finish();
    microseconds last{0};
    for (const auto& sample : videoTrack(file).samples)
        if (sample.key) {
            EXPECT_LE(sample.time - last, 5s);
            last = sample.time;
        }
    EXPECT_GE(last, 55s);
}

TEST_F(VideoWriterTest, WhatIsNotDamagedStaysAsItWas) {
    // Typing in one line must not fade the text around it, over more frames than between key frames.
    start(0us);
    canvas.writeText({0, 0, width, height}, 1);
    int index = 0;
    std::vector<std::vector<std::uint8_t>> painted;
    for (; index < 200; ++index) {
        canvas.writeText({index % 18 * 16, 80, 16, 16}, static_cast<std::uint32_t>(index));
        append(canvas.take(20ms * index));
        painted.push_back(canvas.planes()[0]);
    }
    finish();
    const auto pictures = decodePictures(file);
    ASSERT_EQ(pictures.size(), painted.size());
    const double first = meanDifference(pictures.front().planes[0], painted.front());
    for (std::size_t i = 0; i < pictures.size(); ++i)
        EXPECT_LT(meanDifference(pictures[i].planes[0], painted[i]), first + 0.5) << "picture " << i;
    EXPECT_LT(first, 4);
}

TEST_F(VideoWriterTest, AFilmOverAllOfTheScreenIsHeldInSizeAndLeavesNoMark) {
    constexpr int columns = 1280, rows = 720, pages = 4, filmFrames = 120;
    Canvas screen(columns, rows);
    const auto record = [&](int count, microseconds interval, microseconds from) {
        for (int i = 0; i < count; ++i) {
            screen.writeText({0, 0, columns, rows}, static_cast<std::uint32_t>(from.count() + i));
            append(screen.take(from + interval * i));
        }
    };
    open("pages.mp4", {columns, rows});
    start(0us);
    record(pages, 500ms, 0s);
    finish();
    const auto calm = std::filesystem::file_size(file) / pages;

    open("film.mp4", {columns, rows});
    start(0us);
    record(filmFrames, 16'667us, 0s);
    record(pages, 1s, 3s);
    finish();
    EXPECT_LT(std::filesystem::file_size(file), calm * (filmFrames + pages) * 2 / 3);
    const auto pictures = decodePictures(file);
    ASSERT_EQ(pictures.size(), filmFrames + pages);
    EXPECT_LT(meanDifference(pictures.back().planes[0], screen.planes()[0]), 4);
}

TEST_F(VideoWriterTest, AFilmBeginsWithAKeyFrameAndAllOfItDecodes) {
    constexpr int columns = 1280, rows = 720, film = 60;
    Canvas screen(columns, rows);
    open("film.mp4", {columns, rows});
    start(0us);
    for (int i = 0; i < film; ++i) {
        screen.writeText({0, 0, columns, rows}, static_cast<std::uint32_t>(i));
        append(screen.take(16'667us * i));
    }
    for (int i = 0; i < 8; ++i) // still again: the next key frame ends the film's encoding
        append(screen.take(2s + 1s * i));
    finish();
    std::vector<std::size_t> keys;
    const auto samples = videoTrack(file).samples;
    for (std::size_t i = 0; i < samples.size(); ++i)
        if (samples[i].key)
            keys.push_back(i);
    ASSERT_GE(keys.size(), 3U);
    EXPECT_THAT(keys[1], ::testing::AllOf(::testing::Gt(0U), ::testing::Lt(film)));
    const auto pictures = decodePictures(file);
    ASSERT_EQ(pictures.size(), film + 8U);
    EXPECT_LT(meanDifference(pictures.back().planes[0], screen.planes()[0]), 4);
}

TEST_F(VideoWriterTest, ARefusedFrameLeavesItsDamageToTheNext) {
    start(0us);
    int accepted = 0;
    int refused = 0;
    bool lastRefused = false;
    std::vector<std::vector<std::uint8_t>> painted;
    // Faster than the encoder, so that it refuses many; each frame paints elsewhere.
    for (int i = 0; i < 2000 && (refused < 50 || accepted < 50); ++i) {
        canvas.fill({i * 16 % width, i * 16 / width * 16 % height, 16, 16},
            {static_cast<std::uint8_t>(i * 7), static_cast<std::uint8_t>(i * 3), 128});
        lastRefused = !input->append(canvas.take(10ms * i));
        if (lastRefused) {
            ++refused;
        } else {
            ++accepted;
            painted.push_back(canvas.planes()[0]);
        }
    }
    ASSERT_GT(refused, 0);
    if (lastRefused) // the take's last frame is always kept
        painted.push_back(canvas.planes()[0]);
    finish();
    EXPECT_EQ(input->framesRefused(), static_cast<std::uint64_t>(refused - (lastRefused ? 1 : 0)));
    const auto pictures = decodePictures(file);
    ASSERT_EQ(pictures.size(), painted.size());
    for (std::size_t i = 0; i < pictures.size(); ++i)
        EXPECT_LT(meanDifference(pictures[i].planes[0], painted[i]), 2) << "picture " << i;
}

TEST_F(VideoWriterTest, AFrameThatNobodyHandedOverIsMissedNowhere) {
    start(0us);
    append(canvas.take(0us));
    canvas.fill({0, 0, width, height}, {255, 0, 0}); // not in any frame, as in a pause
    canvas.skip();
    canvas.fill({0, 0, 16, 16}, {0, 0, 255});
    append(canvas.take(100ms));
    finish();
    const auto pictures = decodePictures(file);
    ASSERT_EQ(pictures.size(), 2U);
    for (std::size_t plane = 0; plane < 3; ++plane)
        EXPECT_LT(meanDifference(pictures[1].planes[plane], canvas.planes()[plane]), 2);
}

TEST_F(VideoWriterTest, ColoursComeBackFromAStandardDecoder) {
    const std::vector<Colour> colours{{0, 0, 0}, {255, 255, 255}, {255, 0, 0}, {0, 255, 0}, {0, 0, 255},
        {128, 128, 128}, {64, 64, 64}, {200, 200, 200}, {0, 255, 255}, {255, 0, 255}, {255, 255, 0},
        {30, 90, 160}};
    start(0us);
    const auto patch = [](std::size_t i) {
        return Rect{static_cast<int>(i % 4) * 80, static_cast<int>(i / 4) * 64, 80, 64};
    };
    for (std::size_t i = 0; i < colours.size(); ++i)
        canvas.fill(patch(i), colours[i]);
    append(canvas.take(0us));
    finish();
    const auto picture =
        ffmpeg(file, {QStringLiteral("-sws_flags"), QStringLiteral("accurate_rnd"),
                         QStringLiteral("-frames:v"), QStringLiteral("1"), QStringLiteral("-f"),
                         QStringLiteral("rawvideo"), QStringLiteral("-pix_fmt"), QStringLiteral("rgb24")});
    ASSERT_EQ(picture.size(), width * height * 3);
    for (std::size_t i = 0; i < colours.size(); ++i) {
        const Rect area = patch(i);
        const auto at = ((area.y + 32) * width + area.x + 40) * 3;
        const auto value = [&](int channel) { return static_cast<std::uint8_t>(picture[at + channel]); };
        EXPECT_NEAR(value(0), colours[i].red, 3) << "patch " << i;
        EXPECT_NEAR(value(1), colours[i].green, 3) << "patch " << i;
        EXPECT_NEAR(value(2), colours[i].blue, 3) << "patch " << i;
    }
}

TEST_F(VideoWriterTest, ASessionsStartIsTheFilesZeroAndNothingComesBeforeIt) {
    start(10s);
    EXPECT_FALSE(input->append(canvas.take(9'999'999us)));
    append(canvas.take(10s));
    EXPECT_FALSE(input->append(canvas.take(10s))) << "two pictures of one time";
    append(canvas.take(11s));
    finish();
    EXPECT_EQ(videoTrack(file).samples.size(), 2U);
    EXPECT_EQ(videoTrack(file).samples.back().time, 1s);
}

TEST_F(VideoWriterTest, TakesNothingBeforeItsStartOrAfterItsEnd) {
    EXPECT_FALSE(input->append(canvas.take(0us)));
    start(0us);
    EXPECT_FALSE(writer->startWriting());
    EXPECT_FALSE(writer->addAudioInput({16'000, 1, 64'000})) << "one track a writer";
    append(canvas.take(0us));
    input->markAsFinished();
    EXPECT_FALSE(input->append(canvas.take(1s)));
    await(writer->finishWriting());
    EXPECT_FALSE(input->isReadyForMoreMediaData());
}

TEST_F(VideoWriterTest, ADroppedWriterLeavesAFileThatPlays) {
    start(0us);
    for (int i = 0; i < 40; ++i)
        append(canvas.take(100ms * i));
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::file_size(file) > 0; }));
    writer.reset();
    EXPECT_FALSE(input->append(canvas.take(5s))) << "the input alone is good for nothing";
    input.reset();
    EXPECT_THAT(boxes(file), ::testing::Contains("moof"));
    EXPECT_GT(decodePictures(file).size(), 0U);
}

TEST_F(VideoWriterTest, APauseHoldsThePictureAndCostsNoLength) {
    start(0us);
    append(canvas.take(0us));
    std::this_thread::sleep_for(500ms); // long enough to be written as a still picture
    canvas.fill({0, 0, 64, 64}, {200, 0, 0});
    append(canvas.take(200ms));
    append(canvas.take(30min));
    finish();
    const auto track = videoTrack(file);
    EXPECT_EQ(track.samples[0].duration, 200ms);
    EXPECT_EQ(track.samples[1].duration, 30min - 200ms);
    EXPECT_LE(track.length() - 30min, 20ms);
}

TEST_F(VideoWriterTest, AFrameFollowsAStillPictureAtOnce) {
    start(0us);
    append(canvas.take(0us));
    append(canvas.take(100ms));
    std::this_thread::sleep_for(500ms); // long enough to be written as a still picture
    append(canvas.take(100'001us));
    append(canvas.take(1s));
    finish();
    EXPECT_EQ(writer->status(), AssetWriter::Status::completed);
    EXPECT_EQ(videoTrack(file).samples.size(), 4U);
    EXPECT_LE(videoTrack(file).length() - 1s, 20ms);
}

TEST_F(VideoWriterTest, HoursAreExactToTheMicrosecond) {
    constexpr int last = 24; // four hours: more microseconds than 32 bits hold
    start(0us);
    for (int i = 0; i <= last; ++i)
        append(canvas.take(i * (10min + 1us)));
    finish();
    const auto track = videoTrack(file);
    ASSERT_EQ(track.samples.size(), last + 1U);
    for (int i = 0; i <= last; ++i)
        EXPECT_EQ(track.samples[static_cast<std::size_t>(i)].time, i * (10min + 1us));
    EXPECT_LE(track.length() - 4h, 50ms);
}

TEST_F(VideoWriterTest, AFileThatCannotBeMadeIsThePlatformsError) {
    const auto error = errorOf(
        [&] { (void)factory->makeAssetWriter(folder.path() / "missing" / "take.mp4", FileType::mpeg4); });
    EXPECT_EQ(error.domain, QStringLiteral("POSIX"));
    EXPECT_EQ(error.localizedDescription, QStringLiteral("No such file or directory"));
}

TEST_F(VideoWriterTest, StartsAndEndsAgainAndAgain) {
    for (int round = 0; round < 30; ++round) {
        open("round" + std::to_string(round) + ".mp4");
        start(0us);
        for (int i = 0; i < 3; ++i)
            input->append(canvas.take(10ms * i));
        if (round % 3 == 0)
            continue; // destroyed unfinished
        finish();
        EXPECT_EQ(writer->status(), AssetWriter::Status::completed);
    }
}

TEST_F(VideoWriterTest, AFilmCutShortIsMadeOfItsWholeFrames) {
    start(0us);
    for (int i = 0; i < 60; ++i) {
        canvas.writeText({0, 0, width, height}, static_cast<std::uint32_t>(i));
        append(canvas.take(50ms * i));
    }
    input->markAsFinished();
    await(writer->finishWriting());
    const QByteArray whole = readFile(file);
    ASSERT_GT(whole.size(), 20'000);
    qsizetype framesBefore = 0;
    for (const qsizetype length : {whole.size() / 3, whole.size() / 2, whole.size() - 3'000, whole.size()}) {
        writeFile(file, whole.first(length));
        complete(file);
        SCOPED_TRACE(length);
        EXPECT_THAT(boxes(file), ElementsAre("ftyp", "moov", "free", "free", "mdat"));
        const auto pictures = decodePictures(file);
        const auto frames = static_cast<qsizetype>(pictures.size());
        EXPECT_GT(frames, framesBefore);
        EXPECT_EQ(pictures.back().time, 50ms * (frames - 1));
        EXPECT_NO_THROW(ffmpeg(file, {QStringLiteral("-f"), QStringLiteral("null")})) << "all of it decodes";
        framesBefore = frames;
    }
    EXPECT_EQ(framesBefore, 60);
}

TEST_F(VideoWriterTest, AnExportThatCannotBeMadeKeepsTheFragments) {
    start(0us);
    for (int i = 0; i < 30; ++i)
        append(canvas.take(100ms * i));
    writeFile(folder.path() / "take.mp4.finishing" / "in-the-way", "x");
    EXPECT_EQ(errorOf([&] { finish(); }).localizedDescription, QStringLiteral("Is a directory"));
    EXPECT_EQ(writer->status(), AssetWriter::Status::completed);
    EXPECT_THAT(boxes(file), ::testing::Contains("moof"));
    EXPECT_EQ(decodePictures(file).size(), 30U);
}

} // namespace
} // namespace tavro::test
