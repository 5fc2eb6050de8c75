#include "Canvas.h"
#include "Platform/Media/Media.h"

#include <QCoreApplication>

#include <cstdio>
#include <string_view>
#include <thread>

// Usage: real-time-take VIDEO AUDIO still|busy. Runs until killed. Prints its start (steady clock, µs).
int main(int argc, char** argv) {
    using namespace tavro;
    using namespace std::chrono_literals;
    if (argc != 4)
        return 2;
    const QCoreApplication application(argc, argv); // for the encoders' queues
    const bool busy = std::string_view(argv[3]) == "busy";
    const auto factory = makeAssetWriterFactory();
    const auto video = factory->makeAssetWriter(argv[1], FileType::mpeg4);
    const auto audio = factory->makeAssetWriter(argv[2], FileType::appleM4A);
    const auto pictures = video->addVideoInput({320, 192});
    const auto sound = audio->addAudioInput({16'000, 1, 64'000});
    video->startWriting();
    audio->startWriting();

    const auto now = [] {
        return std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now().time_since_epoch());
    };
    const auto start = now();
    video->startSession({start.count(), std::micro::den});
    audio->startSession({0, 1});
    std::printf("%lld\n", static_cast<long long>(start.count()));
    std::fflush(stdout);

    test::Canvas canvas(320, 192);
    const auto interval = busy ? std::chrono::microseconds(33'333) : std::chrono::microseconds(1s);
    std::int64_t samples = 0;
    auto nextFrame = start;
    for (std::uint32_t i = 0;; ++i) {
        if (now() >= nextFrame) {
            if (busy)
                canvas.writeText({0, 64, 320, 64}, i);
            pictures->append(canvas.take(nextFrame));
            nextFrame += interval;
        }
        const auto due = (now() - start).count() * 16 / 1'000;
        sound->append(
            std::vector<std::int16_t>(static_cast<std::size_t>(due - samples), std::int16_t(i % 3'000)),
            {samples, 16'000});
        samples = due;
        std::this_thread::sleep_for(10ms);
    }
}
