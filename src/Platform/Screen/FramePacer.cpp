#include "Platform/Screen/FramePacer.h"

#include <algorithm>

namespace tavro {
namespace {

constexpr int burst = 4;

} // namespace

FramePacer::Clock::time_point FramePacer::next() const {
    return due - (burst - 1) * interval;
}

void FramePacer::taken(Clock::time_point now) {
    due = std::max(due, now) + interval;
}

} // namespace tavro
