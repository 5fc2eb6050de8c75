import QtQuick
import Tavro.UI

// The base of the text buttons: round ends, sized by the content.
BaseButton {
    id: control

    property color textColor: Theme.c.paper
    readonly property alias surface: surface

    horizontalPadding: 14
    verticalPadding: 7
    implicitWidth: Math.ceil(contentItem.implicitWidth) + leftPadding + rightPadding
    implicitHeight: Math.ceil(contentItem.implicitHeight) + topPadding + bottomPadding
    font: Theme.bodySemiBold

    contentItem: Text {
        text: control.text
        font: control.font
        color: control.textColor
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        Accessible.ignored: true
    }
    background: Plate { // qmllint disable deferred-property-id
        id: surface

        radius: height / 2

        FocusRing { around: control }
    }
}
