#include "UI/Meter.h"

#include <QAccessible>
#include <QAccessibleObject>
#include <QQuickWindow>

namespace tavro {

namespace {

class AccessibleMeter final : public QAccessibleObject, public QAccessibleValueInterface {
public:
    explicit AccessibleMeter(Meter& meter) : QAccessibleObject(&meter) {}

    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(window()); }
    QAccessibleInterface* child(int /*index*/) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface* /*child*/) const override { return -1; }
    QWindow* window() const override { return meter().window(); }
    QRect rect() const override {
        const QPoint corner = meter().mapToGlobal(QPointF()).toPoint();
        return {corner, meter().size().toSize()};
    }

    QAccessible::Role role() const override { return QAccessible::ProgressBar; }
    QAccessible::State state() const override {
        QAccessible::State state;
        state.readOnly = true;
        state.invisible = !meter().isVisible();
        state.disabled = !meter().isEnabled();
        return state;
    }
    QString text(QAccessible::Text kind) const override {
        if (kind == QAccessible::Name)
            return meter().label();
        if (kind == QAccessible::Description)
            return meter().note();
        if (kind == QAccessible::Value)
            return QStringLiteral("%1 %").arg(qRound(meter().value() * 100));
        return {};
    }

    void* interface_cast(QAccessible::InterfaceType type) override {
        if (type == QAccessible::ValueInterface)
            return static_cast<QAccessibleValueInterface*>(this);
        return QAccessibleObject::interface_cast(type);
    }
    QVariant currentValue() const override { return meter().value(); }
    QVariant minimumValue() const override { return 0.0; }
    QVariant maximumValue() const override { return 1.0; }
    QVariant minimumStepSize() const override { return 0.0; }
    void setCurrentValue(const QVariant& /*value*/) override {}

private:
    Meter& meter() const { return *static_cast<Meter*>(object()); }
};

QAccessibleInterface* makeAccessible(const QString& /*className*/, QObject* object) {
    auto* meter = qobject_cast<Meter*>(object);
    return meter ? new AccessibleMeter(*meter) : nullptr; // the toolkit deletes it with the meter
}

} // namespace

Meter::Meter(QQuickItem* parent) : QQuickItem(parent) {
    QAccessible::installFactory(makeAccessible); // once, however often it is installed
}

void Meter::setNote(const QString& text) {
    if (text == description)
        return;
    description = text;
    emit noteChanged();
    QAccessibleEvent event(this, QAccessible::DescriptionChanged);
    QAccessible::updateAccessibility(&event);
}

void Meter::setValue(double value) {
    if (value == current)
        return;
    current = value;
    emit valueChanged();
    QAccessibleValueChangeEvent event(this, value);
    QAccessible::updateAccessibility(&event);
}

} // namespace tavro
