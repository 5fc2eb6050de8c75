#pragma once

#include "Platform/PowerInhibitor.h"

#include <QDBusConnection>

namespace tavro {

/// Asks every service of the desktop that knows of idleness or sleep, those that run: the screen saver, the
/// power manager, GNOME's session and the login manager. What is missing or refuses is left out.
class DesktopInhibitor final : public PowerInhibitor {
public:
    explicit DesktopInhibitor(QDBusConnection session = QDBusConnection::sessionBus(),
        QDBusConnection system = QDBusConnection::systemBus());
    std::unique_ptr<Inhibition> inhibit(const QString& reason) override;

private:
    QDBusConnection session;
    QDBusConnection system;
};

} // namespace tavro
