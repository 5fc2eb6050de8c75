import QtQuick
import Tavro.UI

// Shows where the keyboard is: a ring just outside its parent.
Rectangle {
    property Item around: parent

    anchors.fill: parent
    anchors.margins: -3
    visible: around.visualFocus
    color: "transparent"
    radius: height / 2
    border.width: 2
    border.color: Theme.c.sand
}
