import QtQuick
import QtQuick.Templates as T
import Tavro.UI

Item {
    id: root

    required property MoreMenu menu

    implicitWidth: surface.width
    implicitHeight: surface.height

    Rectangle {
        id: surface

        objectName: "surface"
        width: items.width + 8
        height: items.height + 8
        radius: Theme.rMd
        color: Theme.c.card
        border.width: 1
        border.color: Theme.c.border
        Accessible.role: Accessible.PopupMenu
        Accessible.name: "More"

        Column {
            id: items

            x: 4
            y: 4

            Repeater {
                model: root.menu.items

                // qmllint disable unqualified
                T.MenuItem {
                    id: item

                    required property int index
                    required property string modelData
                    readonly property bool current: index === root.menu.current
                    readonly property color ink: Qt.lighter(Theme.c.record, 1.25)

                    width: Math.max(Theme.scaled(132), contentItem.implicitWidth + 24)
                    height: Theme.scaled(30)
                    leftPadding: 12
                    rightPadding: 12
                    text: modelData
                    focusPolicy: Qt.NoFocus
                    Accessible.role: Accessible.MenuItem
                    Accessible.name: text
                    Accessible.focusable: true
                    Accessible.focused: current
                    Accessible.selectable: true
                    Accessible.selected: current
                    Accessible.onPressAction: clicked()
                    onCurrentChanged: if (current) ScreenReader.tellFocus(item)
                    onHoveredChanged: if (hovered) root.menu.current = index
                    onClicked: root.menu.choose(index)

                    background: Rectangle {
                        radius: Theme.rMd - 4
                        color: item.current ? Theme.c.border : "transparent"
                    }
                    contentItem: Row {
                        spacing: 8

                        Symbol {
                            anchors.verticalCenter: parent.verticalCenter
                            width: Theme.scaled(14)
                            height: Theme.scaled(14)
                            name: root.menu.symbols[item.index]
                            color: item.ink
                        }
                        Text {
                            anchors.verticalCenter: parent.verticalCenter
                            text: item.text
                            font: Theme.bodyMedium
                            color: item.ink
                            Accessible.ignored: true
                        }
                    }
                }
                // qmllint enable unqualified
            }
        }
    }
}
