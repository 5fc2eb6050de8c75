#pragma once

#include <QObject>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

#include <memory>

namespace tavro {

class ControlBarModel;

/// The bar's menu of what throws the take away: whether it is open, and which item the keyboard or the
/// pointer is at. It lies in a window of its own, which never has the focus; the keys come from the bar.
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
    void setCurrent(int item);
    QStringList items() const { return {QStringLiteral("Restart"), QStringLiteral("Delete")}; }
    QStringList symbols() const {
        return {QStringLiteral("arrow.counterclockwise"), QStringLiteral("trash")};
    }

    Q_INVOKABLE void toggle();
    Q_INVOKABLE void close();
    Q_INVOKABLE void move(int by); ///< opens the menu when it is closed
    /// Closes the menu and does what the item says; with none, only closes.
    Q_INVOKABLE void choose(int item);

signals:
    void isOpenChanged();
    void currentChanged();

private:
    void setOpen(bool open);

    const std::shared_ptr<ControlBarModel> model;
    bool open = false;
    int currentItem = none;
};

} // namespace tavro
