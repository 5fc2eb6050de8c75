import QtQuick
import Tavro.UI

// The recording sign; dimmed during a pause.
Item {
    id: dot

    required property bool dimmed

    width: Theme.scaled(10)
    height: Theme.scaled(10)

    SoftShadow {
        anchors.fill: parent
        anchors.margins: -spread
        spread: Theme.scaled(8)
        radius: parent.width / 2
        color: Qt.alpha(Theme.c.record, 0.5)
        visible: !dot.dimmed
    }
    Plate {
        anchors.fill: parent
        radius: width / 2
        color: Theme.c.record
        opacity: dot.dimmed ? 0.3 : 1
    }
}
