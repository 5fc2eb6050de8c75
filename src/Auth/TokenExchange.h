#pragma once

#include <QString>
#include <QUrl>
#include <qcoro/qcorotask.h>

#include <optional>

namespace tavro {

class HttpTransport;

struct IssuedToken {
    QString token;
    std::optional<QString> email; ///< the user's, when the service names it
};

/// Exchanges `code` for the API token at `baseURL`. `http` outlives the task. Throws AuthError on a refusal,
/// PlatformError without a connection, JsonError on a malformed answer.
QCoro::Task<IssuedToken> exchangeCodeForToken(HttpTransport& http, QString code, QUrl baseURL);

} // namespace tavro
