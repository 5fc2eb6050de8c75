import QtQuick
import QtQuick.Templates as T
import Tavro.UI

// The filled button, for primary actions.
T.Button {
    id: control

    leftPadding: 16
    rightPadding: 16
    topPadding: 8
    bottomPadding: 8
    implicitWidth: Math.ceil(contentItem.implicitWidth) + leftPadding + rightPadding
    implicitHeight: Math.ceil(contentItem.implicitHeight) + topPadding + bottomPadding
    font: Theme.bodySemiBold
    Accessible.name: text
    Accessible.onPressAction: clicked()

    contentItem: Text {
        text: control.text
        font: control.font
        color: Theme.c.paper
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        Accessible.ignored: true
    }
    background: Rectangle {
        radius: height / 2
        color: Theme.c.clay
        opacity: control.down ? 0.8 : 1

        FocusRing { around: control }
    }
}
