#pragma once

#include <QAccessible>
#include <QObject>
#include <QQuickItem>
#include <QtQml/qqmlregistration.h>

namespace tavro {

/// The QML singleton `ScreenReader`: what Qt Quick does not tell by itself. Main thread.
class ScreenReader : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    /// Tells that `item` is the current one now. The items of an open list do not have Qt's keyboard focus.
    Q_INVOKABLE void tellFocus(QQuickItem* item) {
        QAccessibleEvent event(item, QAccessible::Focus);
        QAccessible::updateAccessibility(&event);
    }
    Q_INVOKABLE void tellValue(QQuickItem* item) {
        QAccessibleValueChangeEvent event(item, item->property("value"));
        QAccessible::updateAccessibility(&event);
    }
};

} // namespace tavro
