#pragma once

#include <QQuickItem>
#include <QString>
#include <QtQml/qqmlregistration.h>

namespace tavro {

/// A level between 0 and 1 that is only shown; QML draws it. Screen readers read its value, which Qt Quick
/// tells them of controls only. A child of no other accessible item; in QML `Accessible.ignored: false` makes
/// it known.
class Meter : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(QString note READ note WRITE setNote NOTIFY noteChanged)
    Q_PROPERTY(double value READ value WRITE setValue NOTIFY valueChanged)

public:
    explicit Meter(QQuickItem* parent = nullptr);

    const QString& label() const { return name; }

    QString note() const { return description; }
    void setNote(const QString& text); ///< the description; a change is announced

    double value() const { return current; }
    void setValue(double value); ///< each change is one event on the accessibility bus

signals:
    void noteChanged();
    void valueChanged();

private:
    QString name;
    QString description;
    double current = 0;
};

} // namespace tavro
