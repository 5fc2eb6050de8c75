import QtQuick
import QtQuick.Templates as T
import Tavro.UI

// A bar, filled from its leading edge. Its value is for screen readers, each change of it an event.
T.ProgressBar {
    id: meter

    required property real level
    property real radius: 3
    property bool alarm: false // outlined, not filled: the level is none

    onValueChanged: ScreenReader.tellValue(meter)
    Accessible.role: Accessible.ProgressBar

    background: Plate {
        radius: meter.radius
        color: Theme.c.border
        outlineWidth: meter.alarm ? 2 : 0
        outlineColor: Theme.c.clay
    }
    contentItem: Item {
        Rectangle {
            width: parent.width * Math.min(1, Math.max(0, meter.level))
            height: parent.height
            radius: meter.radius
            color: Theme.c.sage
            visible: width > 0
        }
    }
}
