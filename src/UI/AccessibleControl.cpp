#include "UI/AccessibleControl.h"

#include <QAccessible>
#include <QAccessibleObject>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>

namespace tavro {

namespace {

/// The object behind the item's `Accessible` properties; null where it has none.
QObject* attached(QQuickItem& item) {
    for (QObject* child : item.children()) {
        if (!child->inherits("QQuickAccessibleAttached"))
            continue;
        static const auto ofType = qmlAttachedPropertiesFunction(&item, child->metaObject());
        QObject* registered = qmlAttachedPropertiesObject(&item, ofType, false);
        return registered ? registered : child;
    }
    return nullptr;
}

class AccessibleControl final : public QAccessibleObject,
                                public QAccessibleActionInterface,
                                public QAccessibleValueInterface {
public:
    explicit AccessibleControl(QQuickItem* control) : QAccessibleObject(control) {}

    void* interface_cast(QAccessible::InterfaceType type) override;

    QWindow* window() const override { return item().window(); }
    QAccessibleInterface* parent() const override;
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }

    QString text(QAccessible::Text kind) const override;
    QRect rect() const override;
    QAccessible::Role role() const override;
    QAccessible::State state() const override;

    QStringList actionNames() const override;
    void doAction(const QString& name) override;
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

    QVariant currentValue() const override { return item().property("value"); }
    void setCurrentValue(const QVariant&) override {}
    QVariant minimumValue() const override { return item().property("from"); }
    QVariant maximumValue() const override { return item().property("to"); }
    QVariant minimumStepSize() const override { return {}; }

private:
    QQuickItem& item() const { return *static_cast<QQuickItem*>(object()); }
    QVariant told(const char* property) const {
        const QObject* properties = attached(item());
        return properties ? properties->property(property) : QVariant();
    }
    bool isProgressBar() const { return role() == QAccessible::ProgressBar; }
    bool isShown() const {
        return window() && window()->isVisible() && item().isVisible() && item().opacity() > 0;
    }
};

void* AccessibleControl::interface_cast(QAccessible::InterfaceType type) {
    if (type == QAccessible::ActionInterface && !isProgressBar())
        return static_cast<QAccessibleActionInterface*>(this);
    if (type == QAccessible::ValueInterface && isProgressBar())
        return static_cast<QAccessibleValueInterface*>(this);
    return nullptr;
}

QAccessibleInterface* AccessibleControl::parent() const {
    const QQuickItem* top = item().window() ? item().window()->contentItem() : nullptr;
    for (QQuickItem* above = item().parentItem(); above && above != top; above = above->parentItem()) {
        const QObject* properties = attached(*above);
        if (properties && !properties->property("ignored").toBool())
            return QAccessible::queryAccessibleInterface(above);
    }
    return QAccessible::queryAccessibleInterface(window());
}

QString AccessibleControl::text(QAccessible::Text kind) const {
    switch (kind) {
    case QAccessible::Name:
        return told("name").toString();
    case QAccessible::Description:
        return told("description").toString();
    case QAccessible::Value:
        return isProgressBar()
                   ? QStringLiteral("%1 %").arg(qRound(item().property("position").toDouble() * 100))
                   : QString();
    default:
        return {};
    }
}

QRect AccessibleControl::rect() const {
    if (!isShown())
        return {};
    const QRectF inWindow = item().mapRectToScene(item().boundingRect());
    return inWindow.toRect().translated(window()->mapToGlobal(QPoint()));
}

QAccessible::Role AccessibleControl::role() const {
    return static_cast<QAccessible::Role>(told("role").toInt());
}

QAccessible::State AccessibleControl::state() const {
    QAccessible::State state;
    const bool enabled = item().isEnabled();
    state.disabled = !enabled && !isProgressBar();
    state.invisible = !isShown();
    state.focusable = enabled && (item().activeFocusOnTab() || told("focusable").toBool());
    state.focused = told("focused").toBool();
    state.checkable = item().property("checkable").toBool();
    state.checked = item().property("checked").toBool();
    state.pressed = item().property("down").toBool();
    state.selectable = told("selectable").toBool();
    state.selected = told("selected").toBool();
    state.defaultButton = told("defaultButton").toBool();
    return state;
}

QStringList AccessibleControl::actionNames() const {
    return {state().checkable ? toggleAction() : pressAction(), setFocusAction()};
}

void AccessibleControl::doAction(const QString& name) {
    if (!item().isEnabled() || !actionNames().contains(name))
        return;
    if (name == setFocusAction())
        item().forceActiveFocus(Qt::TabFocusReason);
    else
        QMetaObject::invokeMethod(attached(item()), name == toggleAction() ? "toggleAction" : "pressAction");
}

void tellWhenEnabled(QQuickItem* control) {
    QObject::connect(control, &QQuickItem::enabledChanged, control, [control] {
        QAccessible::State changed;
        changed.disabled = true;
        QAccessibleStateChangeEvent event(control, changed);
        QAccessible::updateAccessibility(&event);
    });
}

} // namespace

QAccessibleInterface* accessibleControl(const QString& className, QObject* object) {
    const bool isOurs = className == u"QQuickAbstractButton" || className == u"QQuickComboBox" ||
                        className == u"QQuickProgressBar";
    auto* control = isOurs ? qobject_cast<QQuickItem*>(object) : nullptr;
    if (!control)
        return nullptr;
    if (className != u"QQuickProgressBar")
        tellWhenEnabled(control);
    return new AccessibleControl(control);
}

} // namespace tavro
