#include "UI/Glow.h"

#include <QPainter>
#include <QRadialGradient>

#include <cmath>

namespace tavro {

void Glow::paint(QPainter* painter) {
    QRadialGradient light(boundingRect().center(), width() / 2);
    constexpr int stops = 8;
    for (int i = 0; i <= stops; ++i) {
        // The profile of a blurred disc, reduced to zero at the edge.
        const double r = static_cast<double>(i) / stops;
        QColor color = lightColor;
        color.setAlphaF(static_cast<float>(lightColor.alphaF() * std::exp(-3 * r * r) * (1 - r)));
        light.setColorAt(r, color);
    }
    painter->fillRect(boundingRect(), light);
}

} // namespace tavro
