import QtQuick
import QtQuick.Templates as T
import Tavro.UI

// Opens the bar's menu, and has the keyboard while the menu is open.
T.Button {
    id: control

    required property MoreMenu menu

    implicitWidth: Theme.scaled(24)
    implicitHeight: Theme.scaled(30)
    focusPolicy: Qt.TabFocus
    Accessible.role: Accessible.Button
    Accessible.name: "More"
    Accessible.focused: activeFocus && !menu.isOpen
    Accessible.onPressAction: menu.toggle()
    onClicked: menu.toggle()
    onActiveFocusChanged: if (!activeFocus) menu.close()

    Keys.onDownPressed: menu.move(1)
    Keys.onUpPressed: menu.move(-1)
    Keys.onReturnPressed: event => choose(event)
    Keys.onEnterPressed: event => choose(event)
    Keys.onSpacePressed: event => event.accepted = menu.isOpen
    Keys.onReleased: event => {
        if (event.key === Qt.Key_Space && menu.isOpen)
            choose(event)
    }

    function choose(event) {
        event.accepted = true
        if (event.isAutoRepeat)
            return
        if (menu.isOpen)
            menu.choose(menu.current)
        else
            menu.move(1)
    }

    Connections {
        target: control.menu

        function onIsOpenChanged() {
            if (control.menu.isOpen && control.Window.active)
                control.forceActiveFocus()
            else if (control.activeFocus)
                ScreenReader.tellFocus(control)
        }
    }

    background: Item {
        FocusRing {
            around: control
            radius: 8
        }
    }
    contentItem: Item {
        Symbol {
            anchors.centerIn: parent
            width: Theme.scaled(16)
            height: Theme.scaled(16)
            name: "ellipsis"
            color: Theme.c.sand
        }
    }
}
