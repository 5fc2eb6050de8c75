import QtQuick
import Tavro.UI

// The outlined button, for secondary actions.
PillButton {
    font: Theme.bodyMedium
    textColor: Theme.c.sand
    opacity: enabled ? 1 : 0.5
    surface.color: Qt.alpha(Theme.c.card, down ? 0.6 : 0)
    surface.outlineWidth: 1
    surface.outlineColor: Theme.c.border
}
