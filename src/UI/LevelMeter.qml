import QtQuick
import Tavro.UI

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
