#pragma once

#include "Platform/Sound.h"

#include <atomic>
#include <chrono>

namespace tavro {

/// Notices a source that delivers only zeros, e.g. a muted microphone: even a quiet room has some noise. One
/// thread feeds it, any asks.
class SilenceWatch {
public:
    static constexpr std::chrono::duration<double> patience{6};

    void add(const PCMBuffer& buffer);
    /// No sound came in the last `patience` of its samples.
    bool isSilent() const { return zeros >= patience.count(); }

private:
    std::atomic<double> zeros = 0; // seconds of them, up to the last sample
};

} // namespace tavro
