#pragma once

#include <QColor>
#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace tavro {

/// The colours of all windows: warm, dark, sRGB, opaque. `Theme.c` in QML.
class Palette {
    Q_GADGET
    QML_VALUE_TYPE(tavroPalette)
    Q_PROPERTY(QColor sage MEMBER sage CONSTANT)
    Q_PROPERTY(QColor clay MEMBER clay CONSTANT)
    Q_PROPERTY(QColor sand MEMBER sand CONSTANT)
    Q_PROPERTY(QColor paper MEMBER paper CONSTANT)
    Q_PROPERTY(QColor bark MEMBER bark CONSTANT)
    Q_PROPERTY(QColor card MEMBER card CONSTANT)
    Q_PROPERTY(QColor border MEMBER border CONSTANT)
    Q_PROPERTY(QColor muted MEMBER muted CONSTANT)
    Q_PROPERTY(QColor record MEMBER record CONSTANT)

public:
    /// Finish button, level fill, granted icons, section titles.
    QColor sage = QColor::fromRgbF(0.486f, 0.545f, 0.353f);
    /// Primary buttons, pressed control symbol.
    QColor clay = QColor::fromRgbF(0.776f, 0.42f, 0.278f);
    /// Secondary text and symbols.
    QColor sand = QColor::fromRgbF(0.914f, 0.875f, 0.788f);
    /// Primary text, text on filled buttons.
    QColor paper = QColor::fromRgbF(0.984f, 0.973f, 0.945f);
    /// Window and bar backgrounds.
    QColor bark = QColor::fromRgbF(0.106f, 0.094f, 0.078f);
    /// Cards, circular controls.
    QColor card = QColor::fromRgbF(0.141f, 0.122f, 0.102f);
    /// Outlines, level-meter track.
    QColor border = QColor::fromRgbF(0.243f, 0.22f, 0.2f);
    /// Notes, ungranted icons.
    QColor muted = QColor::fromRgbF(0.431f, 0.396f, 0.361f);
    /// Recording dot.
    QColor record = QColor::fromRgbF(0.839f, 0.278f, 0.231f);
};

} // namespace tavro
