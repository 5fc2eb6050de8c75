#include "Audio/MixedAudioWriter.h"
#include "MediaFiles.h"
#include "Platform/Fake/FakeAssetWriter.h"
#include "Platform/Media/Media.h"
#include "support/TestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numbers>

namespace tavro::test {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using Step = FakeAssetWriterFactory::Step;

std::vector<std::string> text(const QStringList& lines) {
    std::vector<std::string> result;
    for (const auto& line : lines)
        result.push_back(line.toStdString());
    return result;
}

class MixedAudioWriterTest : public ::testing::Test {
protected:
    std::vector<std::int64_t> appendedAt() const {
        std::vector<std::int64_t> positions;
        for (const auto& part : factory.appended())
            positions.push_back(part.time.value);
        return positions;
    }

    TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "take.m4a";
    FakeAssetWriterFactory factory;
    MixedAudioWriter writer{factory};
};

TEST_F(MixedAudioWriterTest, CountsSamplesForTheTimesOfItsFrames) {
    writer.start(file);
    for (const std::size_t length : {320U, 320U, 0U, 160U, 10U})
        writer.appendFrame(AudioFrame(length, 7));
    EXPECT_EQ(writer.samplesWritten(), 810);
    await(writer.finish());

    EXPECT_THAT(appendedAt(), ElementsAre(0, 320, 640, 800));
    EXPECT_THAT(text(factory.calls()), ElementsAre("makeAssetWriter take.m4a", "addAudioInput 16000 1 64000",
                                           "startWriting", "startSession 0/16000", "append", "append",
                                           "append", "append", "markAsFinished", "finishWriting"));
}

TEST_F(MixedAudioWriterTest, DropsFramesOutsideOfAFile) {
    writer.appendFrame(AudioFrame(320));
    writer.start(file);
    writer.appendFrame(AudioFrame(100));
    await(writer.finish());
    writer.appendFrame(AudioFrame(320));
    await(writer.finish()); // nothing to finish: completes at once
    EXPECT_EQ(writer.samplesWritten(), 100);
    EXPECT_EQ(factory.calls().count(QStringLiteral("finishWriting")), 1);
}

TEST_F(MixedAudioWriterTest, ClosesUpOverAFrameThatTheWriterHasNoRoomFor) {
    writer.start(file);
    writer.appendFrame(AudioFrame(320));
    EXPECT_EQ(writer.samplesWritten(), 320);
    factory.fail(Step::append);
    writer.appendFrame(AudioFrame(320));
    EXPECT_EQ(writer.samplesWritten(), 320);
    factory.succeed(Step::append);
    writer.appendFrame(AudioFrame(160));
    await(writer.finish());
    EXPECT_THAT(appendedAt(), ElementsAre(0, 320));
}

TEST_F(MixedAudioWriterTest, AFileThatCannotBeMadeLeavesTheOpenOneOpen) {
    factory.setError(
        std::make_exception_ptr(PlatformError(QStringLiteral("POSIX"), 28, QStringLiteral("no space"))));
    writer.start(file);
    writer.appendFrame(AudioFrame(320));
    factory.fail(Step::makeAssetWriter);
    EXPECT_EQ(errorOf([&] { writer.start(folder.path() / "other.m4a"); }).code, 28);
    writer.appendFrame(AudioFrame(320));
    EXPECT_EQ(writer.samplesWritten(), 640);
    await(writer.finish());
}

TEST_F(MixedAudioWriterTest, EachTakeCountsFromZero) {
    writer.start(file);
    writer.appendFrame(AudioFrame(500));
    await(writer.finish());
    writer.start(folder.path() / "next.m4a");
    writer.appendFrame(AudioFrame(320));
    EXPECT_EQ(writer.samplesWritten(), 320);
    writer.start(file); // the open file was not finished: it is dropped
    EXPECT_EQ(writer.samplesWritten(), 0);
    await(writer.finish());
    EXPECT_EQ(factory.calls().count(QStringLiteral("cancel")), 1);
    EXPECT_THAT(appendedAt(), ElementsAre(0, 0));
}

TEST_F(MixedAudioWriterTest, WithoutAnInputFramesAreDroppedAndNothingIsFinished) {
    factory.fail(Step::addInput);
    writer.start(file);
    writer.appendFrame(AudioFrame(320));
    await(writer.finish());
    EXPECT_EQ(writer.samplesWritten(), 0);
    EXPECT_FALSE(factory.calls().contains(QStringLiteral("finishWriting")));
}

TEST_F(MixedAudioWriterTest, FinishWaitsForThePlatform) {
    const Promise<void> release;
    factory.holdFinish(release);
    writer.start(file);
    bool finished = false;
    auto finishing = [](MixedAudioWriter& audio, bool& done) -> QCoro::Task<> {
        auto task = audio.finish();
        co_await task;
        done = true;
    }(writer, finished);
    ASSERT_TRUE(waitUntil([&] { return factory.calls().contains(QStringLiteral("finishWriting")); }));
    EXPECT_FALSE(finished);
    release.resolve();
    await(std::move(finishing));
    EXPECT_TRUE(finished);
}

// Through the real encoder, as fast as the disk takes the data.
class AudioFileTest : public ::testing::Test {
protected:
    // 20 ms at a time.
    void record(const std::vector<std::int16_t>& samples) {
        writer.start(file);
        for (std::size_t i = 0; i < samples.size(); i += 320)
            writer.appendFrame(AudioFrame(samples.begin() + static_cast<std::ptrdiff_t>(i),
                samples.begin() + static_cast<std::ptrdiff_t>(std::min(i + 320, samples.size()))));
        await(writer.finish());
    }

    TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "take.m4a";
    std::unique_ptr<AssetWriterFactory> factory = makeAssetWriterFactory();
    MixedAudioWriter writer{*factory};
};

TEST_F(AudioFileTest, WritesMonoAACAsLongAsItsSamples) {
    writeFile(file, "what was there before");
    std::vector<std::int16_t> tone(16'000 * 5 + 77);
    for (std::size_t i = 0; i < tone.size(); ++i)
        tone[i] = static_cast<std::int16_t>(
            10'000 * std::sin(2 * std::numbers::pi * 440 * static_cast<double>(i) / 16'000));
    record(tone);

    EXPECT_THAT(boxes(file), ::testing::Contains("moof"));
    complete(file);
    const auto track = audioTrack(file);
    EXPECT_EQ(track.codec, "aac");
    EXPECT_EQ(track.profile, "LC");
    EXPECT_EQ(track.sampleRate, 16'000);
    EXPECT_EQ(track.channels, 1);
    EXPECT_NEAR(static_cast<double>(track.bitRate), 56'000, 16'000)
        << "a tone takes a little less than is granted";
    EXPECT_EQ(track.samples.front().time, -64ms) << "the encoder's lead-in belongs before zero";
    EXPECT_LE(std::chrono::abs(track.length() - 5'004'812us), 70us) << "a sample";
    EXPECT_TRUE(videoTrack(file).codec.empty());
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));

    const auto decoded = decodeSound(file);
    EXPECT_NEAR(static_cast<double>(decoded.size()), static_cast<double>(tone.size()), 1'024);
    double squares = 0;
    for (std::size_t i = 16'000; i < 64'000; ++i)
        squares += std::pow(decoded[i] - tone[i], 2);
    EXPECT_LT(std::sqrt(squares / 48'000), 500) << "the tone is not where it was";
}

class SamplePosition : public AudioFileTest, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(SamplePosition, ASampleComesBackWhereItWas) {
    std::vector<std::int16_t> samples(40'000, 0);
    for (std::size_t i = 0; i < 5; ++i)
        samples[GetParam() + i] = 30'000;
    record(samples);
    complete(file);
    const auto decoded = decodeSound(file);
    const auto loudest = std::max_element(decoded.begin(), decoded.end()) - decoded.begin();
    EXPECT_NEAR(static_cast<double>(loudest), static_cast<double>(GetParam() + 2), 16);
}
INSTANTIATE_TEST_SUITE_P(Positions, SamplePosition, ::testing::Values(3, 1'023, 1'600, 20'011, 39'990));

TEST_F(AudioFileTest, ATakeWithoutASampleLeavesAFileWithoutATrack) {
    record({});
    EXPECT_EQ(makeMediaLibrary()->openAsset(file)->trackCount(MediaType::audio), 0);
}

} // namespace
} // namespace tavro::test
