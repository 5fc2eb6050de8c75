#include "UI/StatusIcon.h"

#include <QPainter>
#include <QPainterPath>

#include <initializer_list>

namespace tavro {

namespace {

constexpr double design = 18; // points, the square on which the mark is designed

/// The brackets on the design square, y upwards.
QPainterPath brackets() {
    const double w = design - 2;
    const double h = design - 2;
    QPainterPath path;
    const auto bracket = [&path](QPointF from, QPointF corner, QPointF to) {
        path.moveTo(from);
        path.lineTo(corner);
        path.lineTo(to);
    };
    bracket({2, h - 4.5}, {2, h}, {6.5, h});
    bracket({w - 4.5, h}, {w, h}, {w, h - 4.5});
    bracket({w, 6.5}, {w, 2}, {w - 4.5, 2});
    bracket({6.5, 2}, {2, 2}, {2, 6.5});
    return path;
}

} // namespace

QPixmap captureFramePixmap(const QColor& color, double points, double devicePixelRatio) {
    const int pixels = qRound(points * devicePixelRatio);
    QPixmap pixmap(pixels, pixels);
    pixmap.fill(Qt::transparent);

    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(0, pixels);
    painter.scale(pixels / design, -pixels / design);
    painter.strokePath(brackets(), QPen(color, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(QPointF(design / 2, design / 2), 2.4, 2.4);
    painter.end();

    pixmap.setDevicePixelRatio(devicePixelRatio);
    return pixmap;
}

QIcon captureFrameIcon(const QColor& color) {
    QIcon icon;
    for (const int size : {16, 18, 22, 24, 32, 36, 44, 48, 64})
        icon.addPixmap(captureFramePixmap(color, size));
    return icon;
}

} // namespace tavro
