#include "UI/QmlTheme.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>

namespace tavro {

namespace {

/// The desktop's text scale: by its resolution, and by a font larger than any desktop's default.
double textScale() {
    constexpr double ordinaryDpi = 96;
    constexpr double ordinaryPoints = 11;
    const QScreen* screen = QGuiApplication::primaryScreen();
    const double byResolution = screen ? screen->logicalDotsPerInchY() / ordinaryDpi : 1;
    return byResolution * std::max(1.0, QGuiApplication::font().pointSizeF() / ordinaryPoints);
}

} // namespace

QFont QmlTheme::font(const char* family, double size, QFont::Weight weight) {
    QFont result(QString::fromLatin1(family));
    result.setPixelSize(qRound(size * textScale()));
    result.setWeight(weight);
    return result;
}

QFont QmlTheme::section() const {
    QFont result = font("JetBrains Mono", 11);
    result.setLetterSpacing(QFont::AbsoluteSpacing, 1.5 * textScale());
    return result;
}

double QmlTheme::scaled(double length) const {
    return length * textScale();
}

} // namespace tavro
