import QtQuick
import Tavro.UI

Rectangle {
    radius: Theme.rMd
    color: Theme.c.card
    border.width: 1
    border.color: Theme.c.border
}
