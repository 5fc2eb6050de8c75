#pragma once

#include <QString>
#include <QUrl>
#include <qcoro/qcorotask.h>

#include <optional>

namespace tavro {

class HttpTransport;

/// What the service gives for a sign-in's one-time code.
struct IssuedToken {
    QString token;
    std::optional<QString> email; ///< the user's, when the service names it
};

/// Asks the service at `baseURL` for the API token that `code` stands for, over `http`, which outlives the
/// task. Throws AuthError when it refuses, PlatformError when it cannot be reached, JsonError when its answer
/// makes no sense.
QCoro::Task<IssuedToken> exchangeCodeForToken(HttpTransport& http, QString code, QUrl baseURL);

} // namespace tavro
