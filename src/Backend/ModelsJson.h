#pragma once

#include "Backend/Json.h"
#include "Backend/LiveEvent.h"
#include "Backend/Models.h"

namespace tavro {

constexpr auto jsonForm(const CaptureKind*) {
    return json::enumeration<CaptureKind>(
        "CaptureKind", {{CaptureKind::display, "display"}, {CaptureKind::window, "window"}});
}

constexpr auto jsonForm(const SessionStatus*) {
    return json::enumeration<SessionStatus>(
        "SessionStatus", {{SessionStatus::active, "active"}, {SessionStatus::finishing, "finishing"},
                             {SessionStatus::uploading, "uploading"}, {SessionStatus::uploaded, "uploaded"},
                             {SessionStatus::reviewed, "reviewed"}});
}

constexpr auto jsonForm(const Severity*) {
    return json::enumeration<Severity>("Severity",
        {{Severity::bug, "bug"}, {Severity::observation, "observation"}, {Severity::question, "question"}});
}

constexpr auto jsonForm(const User*) {
    using json::field;
    return json::record(
        "User", field("id", &User::id), field("email", &User::email), field("name", &User::name));
}

constexpr auto jsonForm(const Project*) {
    using json::field;
    return json::record("Project", field("id", &Project::id), field("name", &Project::name),
        field("description", &Project::description), field("systemName", &Project::systemName));
}

constexpr auto jsonForm(const Scenario*) {
    using json::field;
    return json::record("Scenario", field("id", &Scenario::id), field("projectId", &Scenario::projectId),
        field("name", &Scenario::name), field("description", &Scenario::description));
}

constexpr auto jsonForm(const CaptureTargetMeta*) {
    using json::field;
    return json::record("CaptureTargetMeta", field("kind", &CaptureTargetMeta::kind),
        field("identifier", &CaptureTargetMeta::identifier), field("label", &CaptureTargetMeta::label));
}

constexpr auto jsonForm(const Session*) {
    using json::field;
    return json::record("Session", field("id", &Session::id), field("scenarioId", &Session::scenarioId),
        field("status", &Session::status), field("appUrl", &Session::appUrl),
        field("captureTarget", &Session::captureTarget), field("durationSeconds", &Session::durationSeconds),
        field("videoKey", &Session::videoKey));
}

constexpr auto jsonForm(const Marker*) {
    using json::field;
    return json::record("Marker", field("id", &Marker::id), field("sessionId", &Marker::sessionId),
        field("timestamp", &Marker::timestamp), field("note", &Marker::note),
        field("severity", &Marker::severity));
}

constexpr auto jsonForm(const Screenshot*) {
    using json::field;
    return json::record("Screenshot", field("id", &Screenshot::id),
        field("sessionId", &Screenshot::sessionId), field("sequenceNumber", &Screenshot::sequenceNumber),
        field("timestamp", &Screenshot::timestamp), field("key", &Screenshot::key),
        field("annotation", &Screenshot::annotation), field("severity", &Screenshot::severity),
        field("imageBase64", &Screenshot::imageBase64));
}

constexpr auto jsonForm(const TranscriptSegment*) {
    using json::field;
    return json::record("TranscriptSegment", field("id", &TranscriptSegment::id),
        field("sessionId", &TranscriptSegment::sessionId), field("startTime", &TranscriptSegment::startTime),
        field("endTime", &TranscriptSegment::endTime), field("content", &TranscriptSegment::content),
        field("confidence", &TranscriptSegment::confidence), field("source", &TranscriptSegment::source));
}

namespace event {

constexpr auto jsonForm(const Paused*) {
    return json::emptyRecord<Paused>("LiveEvent");
}
constexpr auto jsonForm(const Resumed*) {
    return json::emptyRecord<Resumed>("LiveEvent");
}
constexpr auto jsonForm(const Finished*) {
    return json::record("LiveEvent", json::field("durationSeconds", &Finished::durationSeconds));
}
constexpr auto jsonForm(const Deleted*) {
    return json::emptyRecord<Deleted>("LiveEvent");
}

} // namespace event

constexpr auto jsonForm(const LiveEvent*) {
    return json::variant("LiveEvent", "type",
        {{"transcript_segment", "payload"}, {"screenshot", "payload"}, {"marker", "payload"}, {"paused"},
            {"resumed"}, {"finished"}, {"deleted"}});
}

} // namespace tavro
