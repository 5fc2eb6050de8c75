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

    QFont title() const;        ///< Fraunces 30, semibold
    QFont heading() const;      ///< Fraunces 24, semibold
    QFont body() const;         ///< Inter 13
    QFont bodyMedium() const;   ///< Inter 13, medium
    QFont bodySemiBold() const; ///< Inter 13, semibold
    QFont note() const;         ///< Inter 11
    QFont clock() const;        ///< JetBrains Mono 15
    QFont section() const;      ///< JetBrains Mono 11, letters 1.5 apart

    Q_INVOKABLE double scaled(double length) const;
};

} // namespace tavro
