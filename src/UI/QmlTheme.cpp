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

QFont font(const char* family, double size, QFont::Weight weight = QFont::Normal) {
    QFont result(QString::fromLatin1(family));
    result.setPixelSize(qRound(size * textScale()));
    result.setWeight(weight);
    return result;
}

} // namespace

QFont QmlTheme::title() const {
    return font("Fraunces", 30, QFont::DemiBold);
}

QFont QmlTheme::heading() const {
    return font("Fraunces", 24, QFont::DemiBold);
}

QFont QmlTheme::body() const {
    return font("Inter", 13);
}

QFont QmlTheme::bodyMedium() const {
    return font("Inter", 13, QFont::Medium);
}

QFont QmlTheme::bodySemiBold() const {
    return font("Inter", 13, QFont::DemiBold);
}

QFont QmlTheme::note() const {
    return font("Inter", 11);
}

QFont QmlTheme::clock() const {
    return font("JetBrains Mono", 15);
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
