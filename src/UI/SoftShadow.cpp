#include "UI/SoftShadow.h"

#include <QPainter>

#include <algorithm>

namespace tavro {

SoftShadow::SoftShadow(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setAntialiasing(true);
    connect(this, &SoftShadow::changed, this, [this] { update(); });
}

// Nested silhouettes, from the widest to the narrowest. Each adds what the darkness grows by from one to the
// next.
void SoftShadow::paint(QPainter* painter) {
    constexpr int steps = 24;
    painter->setPen(Qt::NoPen);
    double before = 0;
    for (int i = 1; i <= steps; ++i) {
        const double inset = 2 * spread * (i - 0.5) / steps;
        const QRectF silhouette = boundingRect().adjusted(inset, inset, -inset, -inset);
        if (silhouette.width() <= 0 || silhouette.height() <= 0)
            return;
        const double part = static_cast<double>(i) / steps;
        const double opacity =
            shadowColor.alphaF() * part * part * (3 - 2 * part); // nearly a blur by a Gaussian
        QColor color = shadowColor;
        color.setAlphaF(static_cast<float>((opacity - before) / (1 - before)));
        before = opacity;
        const double corner = std::max(0.0, radius + spread - inset);
        painter->setBrush(color);
        painter->drawRoundedRect(silhouette, corner, corner);
    }
}

} // namespace tavro
