import QtQuick
import QtQuick.Templates as T
import Tavro.UI

// Chooses one of `items`, objects with `id` and `text`, by its id.
T.ComboBox {
    id: picker

    required property string label
    required property var items
    required property string selectedId
    property bool loading: false // its items are still to come
    readonly property string shownText: loading ? "Loading…" : displayText
    signal picked(string id)

    function showSelected() { currentIndex = indexOfValue(selectedId) }

    property bool opening: false // between press and release of the key

    function keyPressed(event) {
        event.accepted = !popup.visible // a combo box chooses by itself, when the key is released
        if (popup.visible || event.isAutoRepeat)
            return
        opening = true
        popup.open()
    }

    model: items
    textRole: "text"
    valueRole: "id"
    leftPadding: 12
    rightPadding: 32
    topPadding: 8
    bottomPadding: 8
    implicitHeight: Math.ceil(contentItem.implicitHeight) + topPadding + bottomPadding
    font: Theme.body
    Accessible.role: Accessible.ComboBox
    Accessible.name: label
    Accessible.description: shownText
    Accessible.focused: activeFocus && !popup.visible // else the highlighted item has it
    Accessible.onPressAction: popup.open()

    Keys.onReturnPressed: event => keyPressed(event)
    Keys.onEnterPressed: event => keyPressed(event)
    Keys.onReleased: event => {
        event.accepted = opening && (event.key === Qt.Key_Return || event.key === Qt.Key_Enter)
        if (event.accepted && !event.isAutoRepeat)
            opening = false
    }
    onActiveFocusChanged: opening = false
    onActivated: picked(currentValue)
    onSelectedIdChanged: showSelected()
    onModelChanged: Qt.callLater(showSelected) // qmllint disable

    contentItem: Text {
        text: picker.shownText
        font: picker.font
        color: picker.loading ? Theme.c.sand : Theme.c.paper
        elide: Text.ElideRight
        verticalAlignment: Text.AlignVCenter
        Accessible.ignored: true
    }
    indicator: Symbol {
        x: picker.width - width - 10
        y: (picker.height - height) / 2
        width: Theme.scaled(14)
        height: Theme.scaled(14)
        name: "chevron.up.chevron.down"
        color: Theme.c.sand
    }
    background: FieldSurface { focused: picker.activeFocus || picker.popup.visible }

    delegate: T.ItemDelegate {
        id: item

        required property var modelData
        required property int index

        width: ListView.view.width
        leftPadding: 10
        rightPadding: 10
        topPadding: 7
        bottomPadding: 7
        implicitHeight: Math.ceil(contentItem.implicitHeight) + topPadding + bottomPadding
        text: modelData.text
        font: Theme.body
        onHighlightedChanged: if (highlighted) ScreenReader.tellFocus(item)
        highlighted: picker.highlightedIndex === index // qmllint disable unqualified
        Accessible.role: Accessible.ListItem
        Accessible.name: text
        Accessible.selectable: true
        Accessible.selected: picker.currentIndex === item.index // qmllint disable unqualified
        Accessible.focusable: true
        Accessible.focused: item.highlighted
        Accessible.onPressAction: clicked()

        contentItem: Text {
            text: item.text
            font: item.font
            color: Theme.c.paper
            elide: Text.ElideRight
            Accessible.ignored: true
        }
        background: Rectangle {
            radius: 6
            color: item.highlighted ? Theme.c.border : "transparent"
        }
    }

    popup: T.Popup {
        onClosed: if (picker.activeFocus) ScreenReader.tellFocus(picker)

        y: picker.height + 4
        width: picker.width
        height: Math.min(contentItem.implicitHeight + 8, Theme.scaled(220))
        padding: 4
        margins: 8

        contentItem: ListView {
            clip: true
            implicitHeight: contentHeight
            model: picker.popup.visible ? picker.delegateModel : null // qmllint disable
            currentIndex: picker.highlightedIndex
            boundsBehavior: Flickable.StopAtBounds
        }
        background: CardSurface { radius: 8 }
    }
}
