#pragma once

#include "Backend/Models.h"

#include <variant>

namespace tavro {

namespace event {
struct Paused {
    bool operator==(const Paused&) const = default;
};
struct Resumed {
    bool operator==(const Resumed&) const = default;
};
struct Finished {
    double durationSeconds = 0;
    bool operator==(const Finished&) const = default;
};
struct Deleted {
    bool operator==(const Deleted&) const = default;
};
} // namespace event

using LiveEvent = std::variant<TranscriptSegment, Screenshot, Marker, event::Paused, event::Resumed,
    event::Finished, event::Deleted>;

} // namespace tavro
