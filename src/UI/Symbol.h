#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

namespace tavro {

/// A symbol drawn in one colour, as large as the item: sharp at every scale, in any number of colours, with
/// no image files. The names are those by which the views speak of symbols; an unknown one draws nothing.
class Symbol : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)

public:
    explicit Symbol(QQuickItem* parent = nullptr);

    QString name() const { return symbolName; }
    void setName(const QString& name);
    QColor color() const { return symbolColor; }
    void setColor(const QColor& color);

    void paint(QPainter* painter) override;

signals:
    void nameChanged();
    void colorChanged();

private:
    QString symbolName;
    QColor symbolColor = Qt::white;
};

} // namespace tavro
