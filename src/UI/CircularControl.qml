import QtQuick
import QtQuick.Templates as T
import Tavro.UI

// A round button with a symbol; shows a press for a moment.
T.Button {
    id: control

    required property string symbol
    property bool flashing: feedback.flashing === symbol
    property string label

    implicitWidth: Theme.scaled(30)
    implicitHeight: Theme.scaled(30)
    scale: flashing ? 0.86 : 1
    Accessible.name: label
    Accessible.onPressAction: clicked()

    onPressed: feedback.press(symbol)

    Behavior on scale {
        NumberAnimation {
            duration: control.flashing ? 50 : 200
            easing.type: control.flashing ? Easing.InQuad : Easing.OutQuad
        }
    }

    PressFeedback { id: feedback }

    background: Rectangle {
        radius: height / 2
        color: Theme.c.card
        border.width: 1
        border.color: Theme.c.border

        FocusRing { around: control }
    }
    contentItem: Item {
        Symbol {
            anchors.centerIn: parent
            width: Theme.scaled(14)
            height: Theme.scaled(14)
            name: control.symbol
            color: control.flashing ? Theme.c.clay : Theme.c.sand
        }
    }
}
