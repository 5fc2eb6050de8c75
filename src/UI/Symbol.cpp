#include "UI/Symbol.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <array>
#include <string_view>

namespace tavro {

namespace {

// Symbols are designed on a square of 16, y downwards.
constexpr double design = 16;

void stroke(QPainter& painter, const QColor& color, double width, const QPainterPath& path) {
    painter.strokePath(path, QPen(color, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
}

QPainterPath line(std::initializer_list<QPointF> points) {
    QPainterPath path(*points.begin());
    for (const QPointF point : points)
        path.lineTo(point);
    return path;
}

QPainterPath circle(QPointF center, double radius) {
    QPainterPath path;
    path.addEllipse(center, radius, radius);
    return path;
}

void pause(QPainter& painter, const QColor& color) {
    QPainterPath bars;
    bars.addRoundedRect(QRectF(4, 3, 3, 10), 1, 1);
    bars.addRoundedRect(QRectF(9, 3, 3, 10), 1, 1);
    painter.fillPath(bars, color);
}

void play(QPainter& painter, const QColor& color) {
    QPainterPath triangle = line({{5.2, 3.6}, {12.2, 8}, {5.2, 12.4}});
    triangle.closeSubpath();
    painter.fillPath(triangle, color);
    stroke(painter, color, 1.4, triangle); // rounds the corners
}

void checkmark(QPainter& painter, const QColor& color) {
    stroke(painter, color, 2, line({{3.2, 8.6}, {6.6, 12}, {12.8, 4.4}}));
}

void ellipsis(QPainter& painter, const QColor& color) {
    for (const double x : {3.0, 8.0, 13.0})
        painter.fillPath(circle({x, 8}, 1.5), color);
}

void ring(QPainter& painter, const QColor& color) {
    stroke(painter, color, 1.4, circle({8, 8}, 6.6));
}

void checkmarkInCircle(QPainter& painter, const QColor& color) {
    painter.fillPath(circle({8, 8}, 7.3), color);
    painter.setCompositionMode(QPainter::CompositionMode_DestinationOut); // cuts the shape out
    stroke(painter, Qt::black, 1.7, line({{4.9, 8.3}, {7.1, 10.5}, {11.2, 5.7}}));
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
}

void chevrons(QPainter& painter, const QColor& color) {
    stroke(painter, color, 1.5, line({{5, 6.2}, {8, 3.2}, {11, 6.2}}));
    stroke(painter, color, 1.5, line({{5, 9.8}, {8, 12.8}, {11, 9.8}}));
}

void restart(QPainter& painter, const QColor& color) {
    QPainterPath arc;
    arc.arcMoveTo(QRectF(3, 3, 10, 10), 60);
    arc.arcTo(QRectF(3, 3, 10, 10), 60, 300);
    stroke(painter, color, 1.5, arc);
    stroke(painter, color, 1.5, line({{10.7, 0.9}, {10.7, 3.8}, {7.8, 3.8}}));
}

void trash(QPainter& painter, const QColor& color) {
    stroke(painter, color, 1.4, line({{2.8, 4.2}, {13.2, 4.2}}));
    stroke(painter, color, 1.4, line({{6, 4}, {6, 2.2}, {10, 2.2}, {10, 4}}));
    stroke(painter, color, 1.4, line({{4.2, 4.4}, {4.8, 13.8}, {11.2, 13.8}, {11.8, 4.4}}));
    stroke(painter, color, 1.2, line({{6.7, 7}, {6.9, 11.2}}));
    stroke(painter, color, 1.2, line({{9.3, 7}, {9.1, 11.2}}));
}

void spinner(QPainter& painter, const QColor& color) {
    constexpr int spokes = 12;
    painter.translate(8, 8);
    for (int i = 0; i < spokes; ++i) {
        QColor fading = color;
        fading.setAlphaF((1 + static_cast<float>(i)) / spokes);
        stroke(painter, fading, 1.5, line({{0, -4}, {0, -7}}));
        painter.rotate(360.0 / spokes);
    }
}

using Draw = void (*)(QPainter&, const QColor&);
constexpr std::array<std::pair<std::string_view, Draw>, 10> symbols{{
    {"pause.fill", pause},
    {"play.fill", play},
    {"checkmark", checkmark},
    {"ellipsis", ellipsis},
    {"circle", ring},
    {"checkmark.circle.fill", checkmarkInCircle},
    {"chevron.up.chevron.down", chevrons},
    {"arrow.counterclockwise", restart},
    {"trash", trash},
    {"spinner", spinner},
}};

} // namespace

Symbol::Symbol(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setAntialiasing(true);
    connect(this, &Symbol::nameChanged, this, [this] { update(); });
    connect(this, &Symbol::colorChanged, this, [this] { update(); });
}

void Symbol::paint(QPainter* painter) {
    const auto symbol =
        std::ranges::find(symbols, symbolName.toStdString(), [](const auto& s) { return s.first; });
    if (symbol == symbols.end())
        return;
    const double side = std::min(width(), height());
    painter->translate((width() - side) / 2, (height() - side) / 2);
    painter->scale(side / design, side / design);
    symbol->second(*painter, symbolColor);
}

} // namespace tavro
