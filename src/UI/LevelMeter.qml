import QtQuick
import Tavro.UI

// How loud it is: a track, filled from its leading edge.
Rectangle {
    required property real level

    radius: 3
    color: Theme.c.border

    Rectangle {
        width: parent.width * Math.min(1, Math.max(0, parent.level))
        height: parent.height
        radius: parent.radius
        color: Theme.c.sage
        visible: width > 0
    }
}
