import QtQuick
import Tavro.UI

PillButton {
    id: control

    text: "Finish"
    Accessible.defaultButton: true
    surface.color: Theme.c.sage

    contentItem: Row {
        spacing: 6

        Symbol {
            anchors.verticalCenter: parent.verticalCenter
            width: Theme.scaled(12)
            height: Theme.scaled(12)
            name: "checkmark"
            color: control.textColor
        }
        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: control.text
            font: control.font
            color: control.textColor
            Accessible.ignored: true
        }
    }
}
