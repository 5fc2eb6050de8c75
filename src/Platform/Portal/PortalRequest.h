#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariantMap>
#include <qcoro/qcorotask.h>

namespace tavro::portal {

/// The desktop's portal on the session bus. Main thread.

inline const QString service = QStringLiteral("org.freedesktop.portal.Desktop"); ///< its name there

/// What the portal can share, by its properties.
struct CastAbilities {
    unsigned version = 0;
    unsigned sourceTypes = 0; ///< bits: 1 displays, 2 windows
    unsigned cursorModes = 0; ///< bits: 1 hidden, 2 in the picture, 4 beside it
};
/// Throws PlatformError "Tavro.Portal" 1 without a portal, or when it cannot share screens.
QCoro::Task<CastAbilities> castAbilities(QDBusConnection bus);

/// Calls a method of the ScreenCast interface. Throws PlatformError "Tavro.Portal" 2 with the portal's words.
QCoro::Task<QDBusMessage> callCast(QDBusConnection bus, QString method, QVariantList arguments);

/// Calls a method that answers by a Response signal, possibly after a dialog: nothing limits its time, and
/// nothing may close it before. `options` goes last. Throws CaptureCancelled when the user cancelled, or
/// PlatformError "Tavro.Portal": 2 refused, 3 the portal has ended.
QCoro::Task<QVariantMap> request(
    QDBusConnection bus, QString method, QVariantList arguments, QVariantMap options);

} // namespace tavro::portal
