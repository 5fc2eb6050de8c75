import QtQuick
import Tavro.UI

// A bar, filled from its leading edge.
Meter {
    id: meter

    required property real level
    property real radius: 3
    property bool alarm: false // outlined, not filled: the level is none

    Accessible.ignored: false

    Plate {
        anchors.fill: parent
        radius: meter.radius
        color: Theme.c.border
        outlineWidth: meter.alarm ? 2 : 0
        outlineColor: Theme.c.clay
    }
    Rectangle {
        width: parent.width * Math.min(1, Math.max(0, meter.level))
        height: parent.height
        radius: meter.radius
        color: Theme.c.sage
        visible: width > 0
    }
}
