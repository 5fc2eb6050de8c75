import QtQuick
import QtQuick.Templates as T
import Tavro.UI

T.Switch {
    id: toggle

    spacing: 10
    implicitWidth: indicator.width + spacing + contentItem.implicitWidth
    implicitHeight: Math.max(24, indicator.height, contentItem.implicitHeight)
    font: Theme.body
    Accessible.role: Accessible.CheckBox
    Accessible.name: text
    Accessible.focused: activeFocus
    Accessible.onToggleAction: { // the same as a click
        checked = !checked
        toggled()
    }

    indicator: Plate {
        y: (toggle.height - height) / 2
        width: Theme.scaled(34)
        height: Theme.scaled(20)
        radius: height / 2
        color: toggle.checked ? Theme.c.sage : Theme.c.border

        Plate {
            x: toggle.checked ? parent.width - width - 2 : 2
            y: 2
            width: height
            height: parent.height - 4
            radius: height / 2
            color: Theme.c.paper
        }
        FocusRing { around: toggle }
    }
    contentItem: Text {
        leftPadding: toggle.indicator.width + toggle.spacing
        text: toggle.text
        font: toggle.font
        color: Theme.c.paper
        verticalAlignment: Text.AlignVCenter
        Accessible.ignored: true
    }
}
