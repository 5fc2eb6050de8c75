#pragma once

class QAccessibleInterface;
class QObject;
class QString;

namespace tavro {

/// Describes buttons, switches, pickers and progress bars to screen readers, from their `Accessible`
/// properties; for QAccessible::installFactory. Qt Quick 6.4 itself calls disabled controls enabled and lets
/// them be pressed, and tells no progress bar's value. Null for other classes. Main thread.
QAccessibleInterface* accessibleControl(const QString& className, QObject* object);

} // namespace tavro
