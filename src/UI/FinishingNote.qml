import QtQuick
import QtQuick.Templates as T
import Tavro.UI

// Shows that the recording is being finished, and the progress of its upload.
Item {
    id: note

    required property real progress

    implicitWidth: content.width + 28
    implicitHeight: content.height + 14

    Row {
        id: content

        anchors.centerIn: parent
        spacing: 8

        Spinner {
            anchors.verticalCenter: parent.verticalCenter
            width: Theme.scaled(16)
            height: Theme.scaled(16)
            color: Theme.c.sand
        }
        Text {
            id: label

            anchors.verticalCenter: parent.verticalCenter
            text: "Finishing…"
            font: Theme.bodySemiBold
            color: Theme.c.sand
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
    }
    T.ProgressBar {
        id: upload

        x: content.x
        y: content.y + content.height + 4
        width: content.width
        height: 2
        visible: note.progress >= 0
        to: 100
        value: Math.round(note.progress * 100)
        onValueChanged: ScreenReader.tellValue(upload)
        Accessible.role: Accessible.ProgressBar
        Accessible.name: "Upload"

        background: Rectangle {
            radius: 1
            color: Theme.c.border
        }
        contentItem: Item {
            Rectangle {
                width: parent.width * upload.position
                height: parent.height
                radius: 1
                color: Theme.c.sage
            }
        }
    }
}
