#include "Audio/AudioMixer.h"

#include <algorithm>
#include <span>
#include <utility>

namespace tavro {

namespace {

using namespace std::chrono_literals;

constexpr auto interval = 20ms;

// Without aliases, so that the compiler makes vector code of it (see CMakeLists.txt).
void addSaturating(std::int16_t* __restrict sum, const std::int16_t* __restrict other, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const int both = sum[i] + other[i];
        sum[i] = static_cast<std::int16_t>(std::clamp(both, -32768, 32767));
    }
}

void append(AudioFrame& buffer, AudioFrame frame) {
    if (buffer.empty())
        buffer = std::move(frame);
    else
        buffer.insert(buffer.end(), frame.begin(), frame.end());
}

} // namespace

AudioMixer::AudioMixer() : queue(QStringLiteral("com.quembridge.tavro.mixer")) {}

AudioMixer::~AudioMixer() {
    queue.sync([this] { timer.reset(); }); // a timer ends on its own thread
}

void AudioMixer::setOnFrame(AudioFrameHandler handler) {
    queue.async([this, handler = std::move(handler)] { onFrame = handler; });
}

void AudioMixer::start() {
    queue.async([this] {
        if (timer)
            return;
        timer = std::make_unique<QTimer>();
        timer->setTimerType(Qt::PreciseTimer);
        timer->setSingleShot(true);
        timer->setInterval(interval);
        timer->callOnTimeout([this] {
            flush();
            mixSoon(); // a remainder goes out alone
        });
        mixSoon();
    });
}

void AudioMixer::stop() {
    queue.sync([this] {
        timer.reset();
        flush();
    });
}

void AudioMixer::feed(AudioFrame microphone, AudioFrame system) {
    queue.async([this, microphone = std::move(microphone), system = std::move(system)]() mutable {
        append(mic, std::move(microphone));
        append(sys, std::move(system));
        mixSoon();
    });
}

// The timer runs only while something waits: without sound the thread sleeps.
void AudioMixer::mixSoon() {
    if (timer && !timer->isActive() && (!mic.empty() || !sys.empty()))
        timer->start();
}

AudioMixer::Mix AudioMixer::mix(AudioFrame mic, AudioFrame sys) {
    if (mic.empty())
        return {std::move(sys), {}, {}};
    if (sys.empty())
        return {std::move(mic), {}, {}};
    const auto common = static_cast<std::ptrdiff_t>(std::min(mic.size(), sys.size()));
    Mix result;
    result.micRemainder.assign(mic.begin() + common, mic.end());
    result.sysRemainder.assign(sys.begin() + common, sys.end());
    result.mixed = std::move(mic);
    result.mixed.resize(static_cast<std::size_t>(common));
    addSaturating(result.mixed.data(), sys.data(), result.mixed.size());
    return result;
}

void AudioMixer::flush() {
    auto [mixed, micRemainder, sysRemainder] =
        AudioMixer::mix(std::exchange(mic, {}), std::exchange(sys, {}));
    mic = std::move(micRemainder);
    sys = std::move(sysRemainder);
    if (!mixed.empty() && onFrame)
        onFrame(std::move(mixed));
}

} // namespace tavro
