import QtQuick

// Tells a screen reader of a status that has come: an alert is read when it appears.
Item {
    id: alert

    required property string status
    required property list<string> statuses
    readonly property bool isOnScreen: Window.window?.visible ?? false

    Repeater {
        model: alert.statuses

        Item {
            required property string modelData

            anchors.fill: parent
            visible: alert.isOnScreen && modelData === alert.status // qmllint disable unqualified
            Accessible.role: Accessible.AlertMessage
            Accessible.name: modelData
        }
    }
}
