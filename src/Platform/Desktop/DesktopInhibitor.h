#pragma once

#include "Platform/PowerInhibitor.h"

#include <QDBusConnection>

namespace tavro {

/// Uses those that run of screen saver, power manager, GNOME session and login manager. Ignores failures.
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
