#include "Audio/SourcePairing.h"

#include <QScopeGuard>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace tavro {

namespace {

constexpr auto patience = static_cast<std::size_t>(audioFrameRate); // a second

} // namespace

SourcePairing::SourcePairing(std::size_t sources, Handler receiver)
    : handler(std::move(receiver))
    , lines(sources) {}

void SourcePairing::add(Source source, const AudioFrame& frame) {
    std::unique_lock lock(mutex);
    if (closed)
        return;
    lines[source].append(frame);
    handOver(lock);
}

void SourcePairing::begin(Source source, std::chrono::nanoseconds sinceTakeBegan) {
    std::unique_lock lock(mutex);
    if (closed)
        return;
    const auto origin = static_cast<std::size_t>(
        std::max(std::llround(std::chrono::duration<double>(sinceTakeBegan).count() * audioFrameRate), 0LL));
    Line& line = lines[source];
    line.state = Line::State::present;
    line.replaced = handed - std::min(origin, handed);
    const AudioFrame early = std::exchange(line.samples, AudioFrame(origin - std::min(origin, handed)));
    line.append(early);
    handOver(lock);
}

void SourcePairing::leaveOut(Source source) {
    std::unique_lock lock(mutex);
    if (closed)
        return;
    lines[source] = {.state = Line::State::leftOut, .samples = {}, .replaced = 0};
    handOver(lock);
}

void SourcePairing::close() {
    std::unique_lock lock(mutex);
    closed = true;
    std::size_t longest = 0;
    for (Line& line : lines) {
        if (line.state == Line::State::awaited)
            line = {.state = Line::State::leftOut, .samples = {}, .replaced = 0};
        longest = std::max(longest, line.samples.size());
    }
    for (Line& line : lines)
        if (line.state == Line::State::present)
            line.samples.resize(longest, 0);
    handOver(lock);
    idle.wait(lock, [this] { return !handing; });
}

// One calling thread at a time: this keeps the order without a call under the lock.
void SourcePairing::handOver(std::unique_lock<std::mutex>& lock) {
    if (handing)
        return;
    handing = true;
    const auto end = qScopeGuard([&] { // also when the handler throws: `close` waits for this
        if (!lock)
            lock.lock();
        handing = false;
        idle.notify_all();
    });
    while (const std::size_t length = readyLength()) {
        std::vector<AudioFrame> frames;
        for (Line& line : lines)
            frames.push_back(line.takeFront(length));
        handed += length;
        lock.unlock();
        handler(std::move(frames));
        lock.lock();
    }
}

std::size_t SourcePairing::readyLength() const {
    std::size_t shortest = std::numeric_limits<std::size_t>::max(), longest = 0;
    for (const Line& line : lines) {
        if (line.state == Line::State::leftOut)
            continue;
        const std::size_t there = line.state == Line::State::present ? line.samples.size() : 0;
        shortest = std::min(shortest, there);
        longest = std::max(longest, there);
    }
    if (longest == 0)
        return 0;
    return std::max(shortest, longest > patience ? longest - patience : 0);
}

void SourcePairing::Line::append(const AudioFrame& frame) {
    const std::size_t late = std::min(replaced, frame.size());
    replaced -= late;
    samples.insert(samples.end(), frame.begin() + static_cast<std::ptrdiff_t>(late), frame.end());
}

AudioFrame SourcePairing::Line::takeFront(std::size_t count) {
    if (state == State::leftOut)
        return {};
    if (state == State::awaited)
        return AudioFrame(count); // `begin` accounts for it with `handed`
    const auto end = samples.begin() + static_cast<std::ptrdiff_t>(std::min(count, samples.size()));
    AudioFrame front(samples.begin(), end);
    samples.erase(samples.begin(), end);
    replaced += count - front.size();
    front.resize(count, 0);
    return front;
}

} // namespace tavro
