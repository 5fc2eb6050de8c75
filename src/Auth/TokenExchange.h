#pragma once

#include <QString>
#include <QUrl>
#include <qcoro/qcorotask.h>

#include <memory>
#include <optional>

class QNetworkAccessManager;

namespace tavro {

/// What the service gives for a sign-in's one-time code.
struct IssuedToken {
    QString token;
    std::optional<QString> email; ///< the user's, when the service names it
};

/// Asks the service at `baseURL` for the API token that `code` stands for. Throws AuthError when it refuses,
/// PlatformError when it cannot be reached, JsonError when its answer makes no sense.
QCoro::Task<IssuedToken> exchangeCodeForToken(
    std::shared_ptr<QNetworkAccessManager> network, QString code, QUrl baseURL);

} // namespace tavro
