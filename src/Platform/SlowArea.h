#pragma once

#include "Platform/VideoFrame.h"

#include <chrono>
#include <mutex>

namespace tavro {

/// A part of the screen, in its pixels. Where nothing else changes, its changes are recorded only a few times
/// a second, so that what always moves there costs little. Any thread.
class SlowArea {
public:
    static constexpr std::chrono::milliseconds interval{200};

    void set(const Rect& wanted) {
        const std::lock_guard lock(mutex);
        area = wanted;
    }
    Rect get() const {
        const std::lock_guard lock(mutex);
        return area;
    }

private:
    mutable std::mutex mutex;
    Rect area;
};

} // namespace tavro
