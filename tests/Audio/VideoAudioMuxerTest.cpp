#include "Audio/VideoAudioMuxer.h"
#include "Audio/MixedAudioWriter.h"
#include "Canvas.h"
#include "MediaFiles.h"
#include "Platform/Fake/FakeMediaLibrary.h"
#include "Platform/Media/Media.h"
#include "support/TestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace tavro::test {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using Step = FakeMediaLibrary::Step;

ErrorDescription muxError(VideoAudioMuxer& muxer, const std::filesystem::path& folder) {
    return errorOf([&] { await(muxer.mux(folder / "v.mp4", folder / "a.m4a", folder / "out.mp4")); });
}

class MuxStepsTest : public ::testing::Test {
protected:
    MuxStepsTest() {
        library.files["/v.mp4"] = {1, 0, 8s};
        library.files["/a.m4a"] = {0, 1, 7500ms};
    }
    FakeMediaLibrary library;
    VideoAudioMuxer muxer{library};
};

TEST_F(MuxStepsTest, LaysTheSoundBesideThePictureCutToItsLength) {
    struct Case {
        std::chrono::microseconds sound;
        QString expected;
    };
    for (const auto& [sound, expected] : {Case{7500ms, QStringLiteral("audio 7500000")},
             Case{8s, QStringLiteral("audio 8000000")}, Case{9s, QStringLiteral("audio 8000000")}}) {
        FakeMediaLibrary each;
        each.files = library.files;
        each.files["/a.m4a"].duration = sound;
        VideoAudioMuxer one(each);
        await(one.mux("/v.mp4", "/a.m4a", "/out.mp4"));
        EXPECT_EQ(each.calls(),
            QStringList({QStringLiteral("video 8000000"), expected, QStringLiteral("export out.mp4")}));
    }
}

TEST_F(MuxStepsTest, GoesOnWithoutSoundWhereThereIsNoPlaceForIt) {
    library.failing.insert(Step::insertAudio);
    await(muxer.mux("/v.mp4", "/a.m4a", "/out.mp4"));
    EXPECT_TRUE(library.calls().contains(QStringLiteral("export out.mp4")));
}

TEST_F(MuxStepsTest, FailuresOfItsOwnHaveACodeAndNoText) {
    struct Case {
        Step step;
        int code;
    };
    for (const auto& [step, code] :
        {Case{Step::insertVideo, 1}, Case{Step::makeExportSession, 2}, Case{Step::exportTo, 3}}) {
        library.failing = {step};
        const auto error = muxError(muxer, "/");
        EXPECT_EQ(error.domain, QStringLiteral("Tavro.Mux"));
        EXPECT_EQ(error.code, code);
        EXPECT_EQ(error.text, QStringLiteral("Error Domain=Tavro.Mux Code=%1").arg(code));
    }
}

TEST_F(MuxStepsTest, ThePlatformsFailuresPassUnchanged) {
    library.error = std::make_exception_ptr(
        PlatformError(QStringLiteral("libav"), -5, QStringLiteral("Input/output error")));
    for (const Step step : {Step::readVideo, Step::readAudio, Step::exportTo}) {
        library.failing = {step};
        const auto error = muxError(muxer, "/");
        EXPECT_EQ(error.domain, QStringLiteral("libav"));
        EXPECT_EQ(error.code, -5);
        EXPECT_EQ(error.localizedDescription, QStringLiteral("Input/output error"));
    }
    library.failing.clear();
    library.files.erase("/a.m4a");
    EXPECT_EQ(muxError(muxer, "/").domain, QStringLiteral("FakeMediaLibrary"));
}

class MuxFilesTest : public ::testing::Test {
protected:
    void recordPicture(std::chrono::microseconds length) {
        const auto writer = factory->makeAssetWriter(video, FileType::mpeg4);
        const auto input = writer->addVideoInput({320, 192});
        ASSERT_TRUE(writer->startWriting());
        writer->startSession({0, 1});
        Canvas canvas(320, 192);
        for (std::chrono::microseconds time{0}; time < length; time += 100ms) {
            canvas.fill({0, 0, 64, 64}, {static_cast<std::uint8_t>(time.count() / 50'000), 90, 200});
            ASSERT_TRUE(waitUntil([&] { return input->isReadyForMoreMediaData(); }));
            ASSERT_TRUE(input->append(canvas.take(time)));
        }
        input->markAsFinished();
        await(writer->finishWriting());
        ASSERT_EQ(writer->status(), AssetWriter::Status::completed);
    }
    // Silence with a click at 1.5 s.
    void recordSound(std::chrono::milliseconds length) {
        MixedAudioWriter writer(*factory);
        writer.start(audio);
        AudioFrame samples(static_cast<std::size_t>(length.count() * 16), 0);
        std::fill_n(samples.begin() + 24'000, 5, std::int16_t{30'000});
        writer.appendFrame(samples);
        await(writer.finish());
    }
    void mux() { await(muxer.mux(video, audio, out)); }

    TemporaryFolder folder;
    const std::filesystem::path video = folder.path() / "v.mp4";
    const std::filesystem::path audio = folder.path() / "a.m4a";
    const std::filesystem::path out = folder.path() / "out.mp4";
    std::unique_ptr<AssetWriterFactory> factory = makeAssetWriterFactory();
    std::unique_ptr<MediaLibrary> library = makeMediaLibrary();
    VideoAudioMuxer muxer{*library};
};

class MuxLengths : public MuxFilesTest,
                   public ::testing::WithParamInterface<std::pair<int, int>> {
}; // lengths of the sound: recorded, expected

TEST_P(MuxLengths, ThePictureDecides) {
    recordPicture(4s);
    recordSound(std::chrono::milliseconds(GetParam().first));
    const auto videoBefore = readFile(video);
    const auto audioBefore = readFile(audio);
    writeFile(out, QByteArray(5'000'000, 'x'));
    mux();

    EXPECT_THAT(boxes(out), ElementsAre("ftyp", "moov", "free", "free", "mdat"));
    EXPECT_EQ(std::filesystem::status(out).permissions(), std::filesystem::perms(0600));
    const auto picture = videoTrack(out);
    ASSERT_EQ(picture.samples.size(), 40U);
    for (std::size_t i = 0; i < 40; ++i)
        EXPECT_EQ(picture.samples[i].time, 100ms * static_cast<int>(i));
    EXPECT_TRUE(picture.hasExpectedColours);
    const auto sound = audioTrack(out);
    EXPECT_EQ(sound.codec, "aac");
    EXPECT_LE(std::chrono::abs(sound.length() - std::chrono::milliseconds(GetParam().second)), 20ms);
    EXPECT_LE(sound.length(), picture.length() + 70us) << "a sample";
    const auto decoded = decodeSound(out);
    EXPECT_NEAR(
        static_cast<double>(std::max_element(decoded.begin(), decoded.end()) - decoded.begin()), 24'002, 16);
    EXPECT_EQ(readFile(video), videoBefore);
    EXPECT_EQ(readFile(audio), audioBefore);
}
INSTANTIATE_TEST_SUITE_P(Sounds, MuxLengths,
    ::testing::Values(std::pair(6'000, 3'917), std::pair(3'917, 3'917), std::pair(2'000, 2'000)));

TEST_F(MuxFilesTest, ATakeWithoutSoundIsCompletedInItsPlace) {
    recordPicture(2s);
    await(muxer.complete(video));
    EXPECT_THAT(boxes(video), ElementsAre("ftyp", "moov", "free", "free", "mdat"));
    EXPECT_EQ(videoTrack(video).samples.size(), 20U);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST_F(MuxFilesTest, ACancelledExportLeavesItsSourcesAndNothingElse) {
    recordPicture(2s);
    recordSound(2s);
    const auto videoBefore = readFile(video);
    const auto composition = library->makeComposition();
    const auto asset = library->openAsset(video);
    composition->insertTrack(MediaType::video, asset, asset->duration());
    const auto session = library->makeExportSession(*composition);
    session->cancelExport();
    EXPECT_EQ(session->exportTo(out), ExportSession::Status::cancelled);
    EXPECT_FALSE(session->error());

    muxer.cancel();
    EXPECT_EQ(muxError(muxer, folder.path()).code, VideoAudioMuxer::exportFailed);
    EXPECT_EQ(errorOf([&] { await(muxer.complete(video)); }).code, VideoAudioMuxer::exportFailed);
    EXPECT_EQ(readFile(video), videoBefore);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 2)
        << "no part of a film";
}

TEST_F(MuxFilesTest, ASoundFileWithoutATrackLeavesThePictureAlone) {
    recordPicture(1s);
    std::filesystem::copy_file(video, audio);
    mux();
    EXPECT_EQ(videoTrack(out).samples.size(), 10U);
    EXPECT_TRUE(audioTrack(out).codec.empty());
}

TEST_F(MuxFilesTest, APictureFileWithoutATrackIsRefused) {
    recordSound(2s);
    std::filesystem::copy_file(audio, video);
    const auto error = muxError(muxer, folder.path());
    EXPECT_EQ(error.domain, QStringLiteral("Tavro.Mux"));
    EXPECT_EQ(error.code, 1);
    EXPECT_FALSE(std::filesystem::exists(out));
}

TEST_F(MuxFilesTest, WhatIsNoMediaFileIsNamedSo) {
    recordPicture(1s);
    writeFile(audio, QByteArray(1000, 'x'));
    const auto error = muxError(muxer, folder.path());
    EXPECT_EQ(error.domain, QStringLiteral("libav"));
    EXPECT_TRUE(
        error.localizedDescription.startsWith(QStringLiteral("Invalid data found when processing input")))
        << error.localizedDescription.toStdString();
    std::filesystem::remove(audio);
    EXPECT_TRUE(muxError(muxer, folder.path())
                    .localizedDescription.startsWith(QStringLiteral("No such file or directory")));
}

TEST_F(MuxFilesTest, AnOutputThatCannotBeMadeIsThePlatformsError) {
    recordPicture(1s);
    recordSound(2s);
    const auto error =
        errorOf([&] { await(muxer.mux(video, audio, folder.path() / "missing" / "out.mp4")); });
    EXPECT_EQ(error.localizedDescription, QStringLiteral("No such file or directory"));
}

} // namespace
} // namespace tavro::test
