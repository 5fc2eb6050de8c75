#pragma once

#include <QString>

#include <cstdint>
#include <optional>

/// The records exchanged with the backend. Plain values, equal when all fields are. JSON form: ModelsJson.h.
namespace tavro {

enum class CaptureKind { display, window };
enum class SessionStatus { active, finishing, uploading, uploaded, reviewed };
enum class Severity { bug, observation, question };

struct User {
    QString id;
    QString email;
    std::optional<QString> name;
    bool operator==(const User&) const = default;
};

struct Project {
    QString id;
    QString name;
    std::optional<QString> description;
    std::optional<QString> systemName;
    bool operator==(const Project&) const = default;
};

struct Scenario {
    QString id;
    QString projectId;
    QString name;
    std::optional<QString> description;
    bool operator==(const Scenario&) const = default;
};

struct CaptureTargetMeta {
    CaptureKind kind = CaptureKind::display;
    QString identifier; ///< the platform's display or window number, decimal
    QString label;      ///< as the user sees it
    bool operator==(const CaptureTargetMeta&) const = default;
};

struct Session {
    QString id;
    QString scenarioId;
    SessionStatus status = SessionStatus::active;
    std::optional<QString> appUrl; ///< address of the application under test
    CaptureTargetMeta captureTarget;
    double durationSeconds = 0; ///< 0 until the session is finished
    std::optional<QString> videoKey;
    bool operator==(const Session&) const = default;
};

struct Marker {
    QString id;
    QString sessionId;
    double timestamp = 0;
    std::optional<QString> note;
    std::optional<Severity> severity;
    bool operator==(const Marker&) const = default;
};

struct Screenshot {
    QString id;
    QString sessionId;
    std::int64_t sequenceNumber = 0;
    double timestamp = 0;
    std::optional<QString> key;
    std::optional<QString> annotation;
    std::optional<Severity> severity;
    std::optional<QString> imageBase64;
    bool operator==(const Screenshot&) const = default;
};

struct TranscriptSegment {
    QString id;
    QString sessionId;
    double startTime = 0;
    double endTime = 0;
    QString content;
    std::optional<double> confidence;
    QString source;
    bool operator==(const TranscriptSegment&) const = default;
};

} // namespace tavro
