import QtQuick
import Tavro.UI

// A titled card.
CardSurface {
    id: section

    required property string title
    default property alias content: column.data

    implicitHeight: column.height + 32
    Accessible.role: Accessible.Grouping
    Accessible.name: title

    Column {
        id: column

        x: 16
        y: 16
        width: section.width - 32
        spacing: 10

        Text {
            text: section.title.toUpperCase()
            font: Theme.section
            color: Theme.c.sage
            Accessible.ignored: true // the group bears its name
        }
    }
}
