import QtQuick
import QtQuick.Templates as T
import Tavro.UI

T.TextField {
    id: field

    leftPadding: 12
    rightPadding: 12
    topPadding: 8
    bottomPadding: 8
    implicitWidth: contentWidth + leftPadding + rightPadding
    implicitHeight: contentHeight + topPadding + bottomPadding
    font: Theme.body
    color: Theme.c.paper
    selectionColor: Theme.c.clay
    selectedTextColor: Theme.c.paper
    verticalAlignment: Text.AlignVCenter
    clip: true
    Accessible.name: placeholderText

    Text {
        anchors.fill: parent
        anchors.leftMargin: field.leftPadding
        anchors.rightMargin: field.rightPadding
        visible: field.text.length === 0 && field.preeditText.length === 0
        text: field.placeholderText
        font: field.font
        color: Theme.c.sand
        opacity: 0.6
        elide: Text.ElideRight
        verticalAlignment: Text.AlignVCenter
        Accessible.ignored: true
    }

    background: FieldSurface { focused: field.activeFocus }
}
