import QtQuick
import Tavro.UI

// One grant and the button that asks for it.
Item {
    id: row

    required property string name
    required property bool granted
    signal grantRequested
    readonly property alias button: grant

    implicitHeight: grant.implicitHeight // the same with and without the button

    Symbol {
        id: icon

        anchors.verticalCenter: parent.verticalCenter
        width: Theme.scaled(16)
        height: Theme.scaled(16)
        name: row.granted ? "checkmark.circle.fill" : "circle"
        color: row.granted ? Theme.c.sage : Theme.c.muted
        Accessible.role: Accessible.Graphic
        Accessible.name: row.granted ? "Granted" : "Not granted"
    }
    Text {
        anchors.left: icon.right
        anchors.leftMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        text: row.name
        font: Theme.body
        color: Theme.c.paper
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    ClayButtonStyle {
        id: grant

        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        text: "Grant"
        visible: !row.granted
        enabled: visible // else it would keep the keyboard focus
        Accessible.description: row.name
        onClicked: row.grantRequested()
    }
}
