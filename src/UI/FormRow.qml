import QtQuick
import Tavro.UI

Item {
    id: row

    required property string label
    required property real labelWidth
    readonly property real ownLabelWidth: text.implicitWidth
    default property alias field: holder.data

    implicitHeight: holder.children[0].implicitHeight

    Text {
        id: text

        anchors.verticalCenter: parent.verticalCenter
        text: row.label
        font: Theme.body
        color: Theme.c.sand
        Accessible.ignored: true // the field has the same name
    }
    Item {
        id: holder

        x: row.labelWidth + 14
        width: row.width - x
        height: parent.height
    }
}
