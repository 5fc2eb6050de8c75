import QtQuick
import Tavro.UI

// The recording sign; dimmed during a pause.
Item {
    id: dot

    required property bool dimmed

    width: Theme.scaled(10)
    height: Theme.scaled(10)

    Glow {
        anchors.centerIn: parent
        width: parent.width + Theme.scaled(16)
        height: parent.height + Theme.scaled(16)
        color: Qt.alpha(Theme.c.record, 0.5)
        visible: !dot.dimmed
    }
    Rectangle {
        anchors.fill: parent
        radius: width / 2
        color: Theme.c.record
        opacity: dot.dimmed ? 0.3 : 1
    }
}
