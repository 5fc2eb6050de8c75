import QtQuick
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
    LevelMeter {
        x: content.x
        y: content.y + content.height + 4
        width: content.width
        height: 2
        radius: 1
        visible: note.progress >= 0
        level: note.progress
        name: "Upload"
        value: Math.max(0, note.progress)
    }
}
