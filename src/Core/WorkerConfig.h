#pragma once

#include "Core/UserDefaults.h"

#include <QUrl>

namespace tavro {

/// The configuration, read from the user's defaults at each access.
struct WorkerConfig {
    UserDefaults defaults = UserDefaults::standard();

    /// "tavro.backendURL" when it is set and parses as a URL, unchanged; else `defaultBackendURL()`.
    QUrl backendURL() const;
    static const QUrl& defaultBackendURL();

    /// "tavro.devMode": true forces the local backend.
    bool devMode() const;
};

inline const QString userEmailKey = QStringLiteral("tavro.userEmail");

} // namespace tavro
