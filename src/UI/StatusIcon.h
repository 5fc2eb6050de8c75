#pragma once

#include <QIcon>
#include <QPixmap>

class QColor;

namespace tavro {

/// The program's mark: a viewfinder frame of four corner brackets with a dot in its middle, drawn in one
/// colour on nothing. Designed on a square of 18 points.
QPixmap captureFramePixmap(const QColor& color, double points = 18, double devicePixelRatio = 1);

/// The same as an icon that is sharp at every size that panels ask for.
QIcon captureFrameIcon(const QColor& color);

} // namespace tavro
