import QtQuick
import Tavro.UI

// A bar, filled from its leading edge.
Meter {
    id: meter

    required property real level
    property real radius: 3
    property color track: Theme.c.border

    Accessible.ignored: false

    Rectangle {
        anchors.fill: parent
        radius: meter.radius
        color: meter.track
    }
    Rectangle {
        width: parent.width * Math.min(1, Math.max(0, meter.level))
        height: parent.height
        radius: meter.radius
        color: Theme.c.sage
        visible: width > 0
    }
}
