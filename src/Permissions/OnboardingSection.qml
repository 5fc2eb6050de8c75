import QtQuick
import Tavro.UI

// A titled card.
FormCard {
    id: section

    required property string title

    Accessible.role: Accessible.Grouping
    Accessible.name: title

    Text {
        text: section.title.toUpperCase()
        font: Theme.section
        color: Theme.c.sage
        Accessible.ignored: true // the group has the same name
    }
}
