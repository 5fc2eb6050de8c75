#pragma once

#include <QObject>
#include <QProperty>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

#include <memory>

namespace tavro {

class ControlBarModel;

/// The bar's menu of actions that discard the take: whether it is open, and the current item. Its window
/// never has the focus; the bar forwards the keys.
class MoreMenu : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the program")
    Q_PROPERTY(bool isOpen READ isOpen NOTIFY isOpenChanged)
    Q_PROPERTY(int current READ current WRITE setCurrent NOTIFY currentChanged)
    Q_PROPERTY(QStringList items READ items CONSTANT)
    Q_PROPERTY(QStringList symbols READ symbols CONSTANT)

public:
    static constexpr int none = -1;

    explicit MoreMenu(std::shared_ptr<ControlBarModel> model);

    bool isOpen() const { return open; }
    int current() const { return currentItem; }
    void setCurrent(int item) { currentItem = item; }
    QStringList items() const { return {QStringLiteral("Restart"), QStringLiteral("Delete")}; }
    QStringList symbols() const {
        return {QStringLiteral("arrow.counterclockwise"), QStringLiteral("trash")};
    }

    Q_INVOKABLE void toggle();
    Q_INVOKABLE void close();
    Q_INVOKABLE void move(int by); ///< opens the menu when it is closed
    /// Closes the menu and runs the item's action, if there is an item.
    Q_INVOKABLE void choose(int item);

signals:
    void isOpenChanged();
    void currentChanged();

private:
    void setOpen(bool open);

    const std::shared_ptr<ControlBarModel> model;
    bool open = false;
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(MoreMenu, int, currentItem, none, &MoreMenu::currentChanged)
};

} // namespace tavro
