#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

namespace tavro {

/// The blurred silhouette of a rounded rectangle, for a shadow or a glow. `color` in the middle, fading from
/// `spread` inside to `spread` outside the silhouette, which lies `spread` inside the item. Drawn once, then
/// kept as a picture.
class SoftShadow : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color MEMBER shadowColor NOTIFY changed)
    Q_PROPERTY(double spread MEMBER spread NOTIFY changed)
    Q_PROPERTY(double radius MEMBER radius NOTIFY changed)

public:
    explicit SoftShadow(QQuickItem* parent = nullptr);

    void paint(QPainter* painter) override;

signals:
    void changed();

private:
    QColor shadowColor;
    double spread = 0;
    double radius = 0; ///< of the silhouette's corners
};

} // namespace tavro
