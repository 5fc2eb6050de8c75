#pragma once

#include <chrono>

namespace tavro {

/// Whether an encoder must save work, after the time that frames wait for it.
class Haste {
public:
    /// The next frame has waited this long for the encoder. Returns whether to hurry with it.
    bool afterWaiting(std::chrono::microseconds time) {
        hurried = time > (hurried ? calmWait : longestCalmWait);
        return hurried;
    }
    bool isOn() const { return hurried; }

private:
    // Three frames of a fast film, and less than one.
    static constexpr std::chrono::milliseconds longestCalmWait{50}, calmWait{10};
    bool hurried = false;
};

} // namespace tavro
