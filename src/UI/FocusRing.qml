import QtQuick
import QtQuick.Templates as T
import Tavro.UI

// Shows that the keyboard is at a control: a ring just outside its parent.
Rectangle {
    required property T.Control around

    anchors.fill: parent
    anchors.margins: -3
    visible: around.visualFocus
    color: "transparent"
    radius: height / 2
    border.width: 2
    border.color: Theme.c.sand
}
