#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

namespace tavro {

/// A round glow: `color` in the middle, transparent at the item's edge.
class Glow : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color MEMBER lightColor NOTIFY colorChanged)

public:
    void paint(QPainter* painter) override;

signals:
    void colorChanged();

private:
    QColor lightColor;
};

} // namespace tavro
