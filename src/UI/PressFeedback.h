#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include <chrono>

namespace tavro {

/// The symbol pressed last, while the press is shown. Each press clears it after its own time, even a newer
/// one.
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
