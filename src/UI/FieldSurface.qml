import QtQuick
import Tavro.UI

Rectangle {
    required property bool focused

    radius: 8
    color: Theme.c.bark
    border.width: focused ? 2 : 1
    border.color: focused ? Theme.c.sand : Theme.c.border
}
