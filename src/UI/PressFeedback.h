#pragma once

#include <QObject>
#include <QProperty>
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
    Q_OBJECT_BINDABLE_PROPERTY(PressFeedback, QString, symbol, &PressFeedback::flashingChanged)
};

} // namespace tavro
