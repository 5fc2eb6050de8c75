#include "Core/WorkerConfig.h"

namespace tavro {

QUrl WorkerConfig::backendURL() const {
    const QUrl stored(
        defaults.string(QStringLiteral("tavro.backendURL")).value_or(QString()), QUrl::StrictMode);
    return stored.isValid() && !stored.isEmpty() ? stored : defaultBackendURL();
}

const QUrl& WorkerConfig::defaultBackendURL() {
    static const QUrl url(QStringLiteral("https://tavro.example"));
    return url;
}

bool WorkerConfig::devMode() const {
    return defaults.boolean(QStringLiteral("tavro.devMode"));
}

} // namespace tavro
