#pragma once

#include "UI/Palette.h"
#include "UI/Theme.h"

#include <QFont>
#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace tavro {

/// The QML singleton `Theme`. Fonts follow the desktop's text scale; `scaled()` applies it to a length.
class QmlTheme : public QObject {
    Q_OBJECT
    QML_NAMED_ELEMENT(Theme)
    QML_SINGLETON
    Q_PROPERTY(tavro::Palette c READ c CONSTANT)
    Q_PROPERTY(double rMd READ rMd CONSTANT)
    Q_PROPERTY(QFont title READ title CONSTANT)
    Q_PROPERTY(QFont heading READ heading CONSTANT)
    Q_PROPERTY(QFont body READ body CONSTANT)
    Q_PROPERTY(QFont bodyMedium READ bodyMedium CONSTANT)
    Q_PROPERTY(QFont bodySemiBold READ bodySemiBold CONSTANT)
    Q_PROPERTY(QFont note READ note CONSTANT)
    Q_PROPERTY(QFont clock READ clock CONSTANT)
    Q_PROPERTY(QFont section READ section CONSTANT)

public:
    Palette c() const { return {}; }
    double rMd() const { return Theme::rMd; }

    QFont title() const { return font("Fraunces", 30, QFont::DemiBold); }
    QFont heading() const { return font("Fraunces", 24, QFont::DemiBold); }
    QFont body() const { return font("Inter", 13); }
    QFont bodyMedium() const { return font("Inter", 13, QFont::Medium); }
    QFont bodySemiBold() const { return font("Inter", 13, QFont::DemiBold); }
    QFont note() const { return font("Inter", 11); }
    QFont clock() const { return font("JetBrains Mono", 15); }
    QFont section() const; ///< JetBrains Mono 11, letters 1.5 apart

    Q_INVOKABLE double scaled(double length) const;

private:
    static QFont font(const char* family, double size, QFont::Weight weight = QFont::Normal);
};

} // namespace tavro
