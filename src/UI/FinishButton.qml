import QtQuick
import QtQuick.Templates as T
import Tavro.UI

// Ends the recording.
T.Button {
    id: control

    text: "Finish"
    leftPadding: 14
    rightPadding: 14
    topPadding: 7
    bottomPadding: 7
    implicitWidth: Math.ceil(contentItem.implicitWidth) + leftPadding + rightPadding
    implicitHeight: Math.ceil(contentItem.implicitHeight) + topPadding + bottomPadding
    Accessible.name: text
    Accessible.onPressAction: clicked()

    contentItem: Row {
        spacing: 6

        Symbol {
            anchors.verticalCenter: parent.verticalCenter
            width: Theme.scaled(12)
            height: Theme.scaled(12)
            name: "checkmark"
            color: Theme.c.paper
        }
        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: control.text
            font: Theme.bodySemiBold
            color: Theme.c.paper
            Accessible.ignored: true
        }
    }
    background: Rectangle {
        radius: height / 2
        color: Theme.c.sage

        FocusRing { around: control }
    }
}
