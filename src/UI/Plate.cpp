#include "UI/Plate.h"

#include <QPainter>

namespace tavro {

Plate::Plate(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setAntialiasing(true);
    connect(this, &Plate::changed, this, [this] { update(); });
}

void Plate::paint(QPainter* painter) {
    const double inset = outlineWidth / 2;
    painter->setBrush(color);
    painter->setPen(outlineWidth > 0 ? QPen(outlineColor, outlineWidth) : QPen(Qt::NoPen));
    painter->drawRoundedRect(
        boundingRect().adjusted(inset, inset, -inset, -inset), radius - inset, radius - inset);
}

} // namespace tavro
