import QtQuick
import Tavro.UI

// A busy sign that turns by a twelfth at a time.
Symbol {
    id: spinner

    name: "spinner"

    Timer {
        interval: 100
        repeat: true
        running: spinner.visible
        onTriggered: spinner.rotation = (spinner.rotation + 30) % 360
    }
}
