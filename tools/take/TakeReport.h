#pragma once

#include "Backend/Json.h"

namespace tavro {

/// The program's report on a take, one line of JSON.
struct TakeReport {
    QString sessionId;
    std::optional<QString> video;  ///< absent when the session was deleted
    std::optional<QString> events; ///< absent also with a remote service
    double durationSeconds = 0;    ///< as reported to the backend
    std::int64_t framesDelivered = 0;
    std::int64_t framesDropped = 0;
};

/// What is absent is written as null.
inline QByteArray toJson(const TakeReport& report) {
    const auto orNull = [](const std::optional<QString>& text) {
        return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Null);
    };
    return json::write(QJsonObject{{QStringLiteral("sessionId"), report.sessionId},
        {QStringLiteral("video"), orNull(report.video)}, {QStringLiteral("events"), orNull(report.events)},
        {QStringLiteral("durationSeconds"), report.durationSeconds},
        {QStringLiteral("framesDelivered"), static_cast<qint64>(report.framesDelivered)},
        {QStringLiteral("framesDropped"), static_cast<qint64>(report.framesDropped)}});
}

} // namespace tavro
