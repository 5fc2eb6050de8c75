#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

namespace tavro {

/// A symbol in one colour, sharp at every size, without image files. An unknown name draws nothing.
class Symbol : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString name MEMBER symbolName NOTIFY nameChanged)
    Q_PROPERTY(QColor color MEMBER symbolColor NOTIFY colorChanged)

public:
    explicit Symbol(QQuickItem* parent = nullptr);

    void paint(QPainter* painter) override;

signals:
    void nameChanged();
    void colorChanged();

private:
    QString symbolName;
    QColor symbolColor = Qt::white;
};

} // namespace tavro
