#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

namespace tavro {

/// A filled rounded rectangle with an outline inside its edges. For round shapes: at fractional scales the
/// toolkit's own Rectangle, drawn in software, leaves a gap between its corners.
class Plate : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color MEMBER color NOTIFY changed)
    Q_PROPERTY(double radius MEMBER radius NOTIFY changed)
    Q_PROPERTY(double outlineWidth MEMBER outlineWidth NOTIFY changed)
    Q_PROPERTY(QColor outlineColor MEMBER outlineColor NOTIFY changed)

public:
    explicit Plate(QQuickItem* parent = nullptr);

    void paint(QPainter* painter) override;

signals:
    void changed();

private:
    QColor color;
    double radius = 0;
    double outlineWidth = 0;
    QColor outlineColor;
};

} // namespace tavro
