#pragma once

#include "UI/Theme.h"

#include <QFont>
#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace tavro {

/// The palette as `Theme.c` in QML.
class QmlPalette {
    Q_GADGET
    QML_VALUE_TYPE(tavroPalette)
    Q_PROPERTY(QColor sage READ sage CONSTANT)
    Q_PROPERTY(QColor clay READ clay CONSTANT)
    Q_PROPERTY(QColor sand READ sand CONSTANT)
    Q_PROPERTY(QColor paper READ paper CONSTANT)
    Q_PROPERTY(QColor bark READ bark CONSTANT)
    Q_PROPERTY(QColor card READ card CONSTANT)
    Q_PROPERTY(QColor border READ border CONSTANT)
    Q_PROPERTY(QColor muted READ muted CONSTANT)
    Q_PROPERTY(QColor record READ record CONSTANT)

public:
    QColor sage() const { return Theme::sage(); }
    QColor clay() const { return Theme::clay(); }
    QColor sand() const { return Theme::sand(); }
    QColor paper() const { return Theme::paper(); }
    QColor bark() const { return Theme::bark(); }
    QColor card() const { return Theme::card(); }
    QColor border() const { return Theme::border(); }
    QColor muted() const { return Theme::muted(); }
    QColor record() const { return Theme::record(); }
};

/// The theme as the QML singleton `Theme`. Text is as large as the desktop wants it: the sizes given are for
/// an ordinary text size, and `scaled()` takes a length that has to grow with the text along.
class QmlTheme : public QObject {
    Q_OBJECT
    QML_NAMED_ELEMENT(Theme)
    QML_SINGLETON
    Q_PROPERTY(tavro::QmlPalette c READ c CONSTANT)
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
    QmlPalette c() const { return {}; }
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
