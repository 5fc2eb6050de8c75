import QtQuick
import QtQuick.Templates as T
import Tavro.UI

// A ring just outside its parent; marks the keyboard focus. (An item can have the focus in a window that has none.)
Rectangle {
    required property T.Control around

    anchors.fill: parent
    anchors.margins: -3
    visible: around.activeFocus && Window.active
    color: "transparent"
    radius: height / 2
    border.width: 2
    border.color: Theme.c.sand
}
