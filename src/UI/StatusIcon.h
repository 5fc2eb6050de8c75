#pragma once

#include <QIcon>
#include <QPixmap>

class QColor;

namespace tavro {

/// The program's mark: four corner brackets around a dot, in one colour on a transparent ground.
QPixmap captureFramePixmap(const QColor& color, double points = 18, double devicePixelRatio = 1);

/// The mark as an icon, sharp at every panel size.
QIcon captureFrameIcon(const QColor& color);

} // namespace tavro
