import QtQuick
import Tavro.UI

// A round button with a symbol. Shows for a moment that it was pressed: by the pointer, a key or a screen reader.
BaseButton {
    id: control

    required property string symbol
    readonly property bool flashing: feedback.flashing === symbol

    signal triggered // the press is shown already

    implicitWidth: Theme.scaled(30)
    implicitHeight: Theme.scaled(30)

    onClicked: {
        feedback.press(symbol);
        triggered();
    }

    states: State {
        name: "flashing"
        when: control.flashing

        PropertyChanges {
            target: control
            scale: 0.86
        }
        PropertyChanges {
            target: picture
            color: Theme.c.clay
        }
    }
    transitions: [
        Transition {
            to: "flashing"

            NumberAnimation { property: "scale"; duration: 50; easing.type: Easing.InQuad }
            ColorAnimation { duration: 50; easing.type: Easing.InQuad }
        },
        Transition {
            from: "flashing"

            NumberAnimation { property: "scale"; duration: 200; easing.type: Easing.OutQuad }
            ColorAnimation { duration: 200; easing.type: Easing.OutQuad }
        }
    ]

    PressFeedback { id: feedback }

    background: Plate {
        radius: height / 2
        color: Theme.c.card
        outlineWidth: 1
        outlineColor: Theme.c.border

        FocusRing { around: control }
    }
    contentItem: Item { // qmllint disable deferred-property-id
        Symbol {
            id: picture

            anchors.centerIn: parent
            width: Theme.scaled(14)
            height: Theme.scaled(14)
            name: control.symbol
            color: Theme.c.sand
        }
    }
}
