#include "Audio/SourcePairing.h"

#include <QScopeGuard>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tavro {

namespace {

// A source whose line stands still for longer than this has broken its promise; the other goes on without it,
// and what comes too late is left out, so that the two stay together.
constexpr auto patience = static_cast<std::size_t>(audioFrameRate);

} // namespace

SourcePairing::SourcePairing(Handler receiver) : handler(std::move(receiver)) {}

void SourcePairing::add(Source source, const AudioFrame& frame) {
    std::unique_lock lock(mutex);
    if (closed)
        return;
    Line& receiver = line(source);
    const std::size_t late = std::min(receiver.replaced, frame.size());
    receiver.replaced -= late;
    receiver.samples.insert(
        receiver.samples.end(), frame.begin() + static_cast<std::ptrdiff_t>(late), frame.end());
    handOver(lock);
}

void SourcePairing::begin(Source source, std::chrono::nanoseconds sinceTakeBegan) {
    std::unique_lock lock(mutex);
    Line& begun = line(source);
    begun.known = begun.present = true;
    const auto lead = std::llround(std::chrono::duration<double>(sinceTakeBegan).count() * audioFrameRate);
    begun.samples.insert(begun.samples.begin(), static_cast<std::size_t>(std::max(lead, 0LL)), 0);
    handOver(lock);
}

void SourcePairing::leaveOut(Source source) {
    std::unique_lock lock(mutex);
    line(source) = {.known = true, .present = false, .samples = {}, .replaced = 0};
    handOver(lock);
}

void SourcePairing::close() {
    std::unique_lock lock(mutex);
    closed = true;
    const std::size_t length = std::max(lines[0].samples.size(), lines[1].samples.size());
    for (Line& each : lines)
        if (each.present)
            each.samples.resize(length, 0);
    handOver(lock);
    idle.wait(lock, [this] { return !handing; });
}

// One thread at a time, so that the order is kept without a call under the lock.
void SourcePairing::handOver(std::unique_lock<std::mutex>& lock) {
    if (handing || !lines[0].known || !lines[1].known)
        return;
    handing = true;
    const auto end = qScopeGuard([&] { // also when the handler throws: `close` waits for this
        if (!lock)
            lock.lock();
        handing = false;
        idle.notify_all();
    });
    for (Pair pair = takePair(); !pair.isEmpty(); pair = takePair()) {
        lock.unlock();
        handler(std::move(pair.microphone), std::move(pair.system));
        lock.lock();
    }
}

SourcePairing::Pair SourcePairing::takePair() {
    const std::size_t length = pairLength();
    return {takeFront(lines[0], length), takeFront(lines[1], length)};
}

AudioFrame SourcePairing::takeFront(Line& from, std::size_t count) const {
    const std::size_t there = std::min(count, from.samples.size());
    const auto end = from.samples.begin() + static_cast<std::ptrdiff_t>(there);
    AudioFrame front(from.samples.begin(), end);
    from.samples.erase(from.samples.begin(), end);
    if (from.present) { // and has fallen behind for too long, where it has less
        front.resize(count, 0);
        from.replaced += count - there;
    }
    return front;
}

std::size_t SourcePairing::pairLength() const {
    const auto [shorter, longer] =
        std::minmax({lines[0].samples.size(), lines[1].samples.size()}); // values, not references
    if (!lines[0].present || !lines[1].present)
        return longer;
    return std::max(shorter, longer > patience ? longer - patience : 0);
}

} // namespace tavro
