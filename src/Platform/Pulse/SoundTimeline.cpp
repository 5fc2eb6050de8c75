#include "SoundTimeline.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tavro::pulse {

namespace {

using namespace std::chrono_literals;

constexpr auto placingTime = 200ms; // held back to place a stream
constexpr auto fillReserve =
    100ms; // silence stays this far behind the clock: a stream that returns needs its place
constexpr auto gapWindow = 300ms; // blocks of this length must agree on a gap or a surplus
constexpr auto gapLength = 80ms;  // shorter ones are jitter
constexpr auto averaging = 20s;
constexpr auto averageMature = 30s;
constexpr auto driftLimit = 8ms;
constexpr int correctionsPerSecond = 100;

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

SoundTimeline::SoundTimeline(
    double sampleRate, std::size_t channelCount, Clock::time_point start, Emit receiver)
    : rate(sampleRate)
    , channels(channelCount)
    , deliver(std::move(receiver))
    , lineOrigin(start) {}

double SoundTimeline::framesAt(Clock::time_point moment) const {
    return std::chrono::duration<double>(moment - lineOrigin).count() * rate;
}

std::int64_t SoundTimeline::framesIn(std::chrono::milliseconds span) const {
    return std::llround(std::chrono::duration<double>(span).count() * rate);
}

void SoundTimeline::interrupt() {
    flush();
    placing = true;
}

void SoundTimeline::add(std::span<const float> frames, Clock::time_point captured) {
    if (frames.empty())
        return;
    if (!placing) {
        follow(frames.size() / channels, captured);
        emitCorrected(withoutSurplus(frames));
        return;
    }
    const std::size_t before = held.size() / channels;
    places.push_back(framesAt(captured) - static_cast<double>(before));
    held.insert(held.end(), frames.begin(), frames.end());
    if (static_cast<std::int64_t>(held.size() / channels) >= framesIn(placingTime))
        place();
}

void SoundTimeline::flush() {
    if (!places.empty())
        place();
}

void SoundTimeline::fill(Clock::time_point now) {
    if (placing && !held.empty())
        return;
    const auto due = static_cast<std::int64_t>(framesAt(now - fillReserve));
    emitSilence(due - static_cast<std::int64_t>(emittedFrames));
}

// Fills up to the stream's place. Drops its first frames when the line is further already: the stream began
// before the origin, or silence took its place.
void SoundTimeline::place() {
    const std::vector<float> frames = std::exchange(held, {});
    const auto gap =
        std::llround(median(std::exchange(places, {}))) - static_cast<std::int64_t>(emittedFrames);
    placing = false;
    recent.clear();
    average = 0;
    followed = 0;
    correction = 0;
    surplus = 0;
    emitSilence(gap);
    const std::size_t late = gap < 0 ? static_cast<std::size_t>(-gap) * channels : 0;
    emitFrames(std::span(frames).subspan(std::min(late, frames.size())));
    if (late > frames.size())
        placing = true; // all were too late: the next ones are placed anew
}

void SoundTimeline::follow(std::size_t frames, Clock::time_point captured) {
    if (surplus > 0)
        return;
    const double late = framesAt(captured) - static_cast<double>(emittedFrames);
    followed += static_cast<std::int64_t>(frames);
    recent.push_back({followed, late});
    while (followed - recent.front().followed > framesIn(gapWindow))
        recent.pop_front();

    // All recent blocks are late: fill the smallest lateness. All are early: leave out the smallest lead.
    const auto [least, most] = std::ranges::minmax(recent, {}, &Lateness::frames);
    const bool enough = recent.size() > 3 && followed - recent.front().followed > framesIn(gapWindow) * 2 / 3;
    const auto limit = static_cast<double>(framesIn(gapLength));
    if (enough && (least.frames > limit || most.frames < -limit)) {
        emitSilence(std::llround(least.frames));
        surplus = std::max(std::llround(-most.frames), 0LL);
        recent.clear();
        return;
    }

    const auto length = static_cast<double>(frames) / rate;
    const double share = length / std::chrono::duration<double>(averaging).count();
    average += (late - static_cast<double>(correction) - average) * std::min(share, 1.0);
    if (correction == 0 && followed > framesIn(averageMature) &&
        std::abs(average) > static_cast<double>(framesIn(driftLimit))) {
        correction = std::llround(average);
        average = 0;
    }
}

std::span<const float> SoundTimeline::withoutSurplus(std::span<const float> frames) {
    const auto left = std::min(surplus, static_cast<std::int64_t>(frames.size() / channels));
    surplus -= left;
    return frames.subspan(static_cast<std::size_t>(left) * channels);
}

// Adds the mean of two neighbours, or leaves one frame out, at most every 10 ms.
void SoundTimeline::emitCorrected(std::span<const float> frames) {
    if (correction == 0)
        return emitFrames(frames);
    const auto spacing = static_cast<std::int64_t>(rate) / correctionsPerSecond;
    const std::size_t count = frames.size() / channels;
    corrected.clear();
    for (std::size_t i = 0; i < count; ++i) {
        const auto frame = frames.subspan(i * channels, channels);
        const bool here = ++sinceCorrection >= spacing && correction != 0 && i + 1 < count;
        if (here)
            sinceCorrection = 0;
        if (here && correction < 0) {
            ++correction;
            continue;
        }
        corrected.insert(corrected.end(), frame.begin(), frame.end());
        if (here) {
            const auto next = frames.subspan((i + 1) * channels, channels);
            for (std::size_t c = 0; c < channels; ++c)
                corrected.push_back((frame[c] + next[c]) / 2);
            --correction;
        }
    }
    emitFrames(corrected);
}

void SoundTimeline::emitFrames(std::span<const float> frames) {
    if (frames.empty())
        return;
    emittedFrames += frames.size() / channels;
    deliver(frames);
}

void SoundTimeline::emitSilence(std::int64_t frames) {
    if (frames <= 0)
        return;
    const std::vector<float> silence(static_cast<std::size_t>(framesIn(100ms)) * channels, 0.F);
    while (frames > 0) {
        const auto part =
            std::min<std::int64_t>(frames, static_cast<std::int64_t>(silence.size() / channels));
        emitFrames(std::span(silence).first(static_cast<std::size_t>(part) * channels));
        frames -= part;
    }
}

} // namespace tavro::pulse
