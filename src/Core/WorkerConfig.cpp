#include "Core/WorkerConfig.h"

#include "Core/Log.h"

namespace tavro {

QUrl WorkerConfig::backendURL() const {
    const QString text = defaults.string(QStringLiteral("tavro.backendURL")).value_or(QString());
    if (text.isEmpty())
        return defaultBackendURL();
    QUrl stored(text, QUrl::StrictMode);
    if (stored.isValid())
        return stored;
    Log::error(QStringLiteral("config: the stored tavro.backendURL is no address (%1); using %2")
                   .arg(stored.errorString(), defaultBackendURL().toString()));
    return defaultBackendURL();
}

const QUrl& WorkerConfig::defaultBackendURL() {
    static const QUrl url(QStringLiteral("https://tavro.example"));
    return url;
}

bool WorkerConfig::devMode() const {
    return defaults.boolean(QStringLiteral("tavro.devMode"));
}

} // namespace tavro
