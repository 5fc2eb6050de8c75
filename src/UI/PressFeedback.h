#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include <chrono>

namespace tavro {

/// Which symbol was just pressed, for as long as the press is shown. Every press ends what is shown when its
/// own time is over, also when another press came in between.
class PressFeedback : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString flashing READ flashing NOTIFY flashingChanged)

public:
    static constexpr std::chrono::milliseconds duration{130};

    QString flashing() const { return symbol; }
    Q_INVOKABLE void press(const QString& name);

signals:
    void flashingChanged();

private:
    void flash(const QString& name);

    QString symbol;
};

} // namespace tavro
