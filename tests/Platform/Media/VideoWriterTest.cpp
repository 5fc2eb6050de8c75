#include "Canvas.h"
#include "MediaFiles.h"
#include "Platform/Media/Media.h"
#include "support/TestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sys/stat.h>

namespace tavro::test {
namespace {

using std::chrono::microseconds;
using namespace std::chrono_literals;
using ::testing::ElementsAre;

constexpr int width = 320;
constexpr int height = 192;

// A take of a small screen, through the writer as the recorder uses it.
class VideoWriterTest : public ::testing::Test {
protected:
    void SetUp() override { open("take.mp4"); }

    void open(const std::string& name) {
        file = folder.path() / name;
        writer = factory->makeAssetWriter(file, FileType::mpeg4);
        input = writer->addVideoInput({width, height});
        ASSERT_TRUE(input);
    }

    void start(microseconds time) {
        ASSERT_TRUE(writer->startWriting());
        writer->startSession({time.count(), std::micro::den});
    }

    // As soon as there is room for it.
    void append(const VideoFramePtr& frame) {
        ASSERT_TRUE(waitUntil([&] {
            return input->isReadyForMoreMediaData() || writer->status() != AssetWriter::Status::writing;
        }));
        ASSERT_TRUE(input->append(frame));
    }

    void finish() {
        input->markAsFinished();
        await(writer->finishWriting());
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
    EXPECT_THAT(boxes(file), ElementsAre("ftyp", "moov", "free", "mdat"));
    const auto track = videoTrack(file);
    EXPECT_EQ(track.codec, "h264");
    EXPECT_EQ(track.width, width);
    EXPECT_EQ(track.height, height);
    EXPECT_TRUE(track.isBT709);
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

} // namespace
} // namespace tavro::test
