import QtQuick
import Tavro.UI

// The filled button, for primary actions.
PillButton {
    horizontalPadding: 16
    verticalPadding: 8
    opacity: enabled ? 1 : 0.5
    surface.color: Theme.c.clay
    surface.opacity: down ? 0.8 : 1
}
