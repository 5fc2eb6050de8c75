import QtQuick
import QtQuick.Templates as T
import Tavro.UI

// The outlined button, for secondary actions.
T.Button {
    id: control

    leftPadding: 14
    rightPadding: 14
    topPadding: 7
    bottomPadding: 7
    implicitWidth: Math.ceil(contentItem.implicitWidth) + leftPadding + rightPadding
    implicitHeight: Math.ceil(contentItem.implicitHeight) + topPadding + bottomPadding
    font: Theme.bodyMedium
    Accessible.name: text
    Accessible.onPressAction: clicked()

    contentItem: Text {
        text: control.text
        font: control.font
        color: Theme.c.sand
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        Accessible.ignored: true
    }
    background: Rectangle {
        radius: height / 2
        color: Qt.alpha(Theme.c.card, control.down ? 0.6 : 0)
        border.width: 1
        border.color: Theme.c.border

        FocusRing { around: control }
    }
}
