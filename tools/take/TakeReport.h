#pragma once

#include "Backend/Json.h"

namespace tavro {

/// The program's report on a take, one line of JSON.
struct TakeReport {
    QString sessionId;
    std::optional<QString> video;  ///< left out when the session was deleted
    std::optional<QString> events; ///< left out also with a remote service
    double durationSeconds = 0;    ///< as reported to the backend
    std::int64_t framesDelivered = 0;
    std::int64_t framesDropped = 0;
};

constexpr auto jsonForm(const TakeReport*) {
    using json::field;
    return json::record("TakeReport", field("sessionId", &TakeReport::sessionId),
        field("video", &TakeReport::video), field("events", &TakeReport::events),
        field("durationSeconds", &TakeReport::durationSeconds),
        field("framesDelivered", &TakeReport::framesDelivered),
        field("framesDropped", &TakeReport::framesDropped));
}

} // namespace tavro
