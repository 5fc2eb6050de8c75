import QtQuick
import QtQuick.Templates as T

// What all buttons share: the Return key presses them, and so does a screen reader.
T.Button {
    id: control

    signal activated // in one of these two ways; the pointer and the space bar press and release

    focusPolicy: Qt.TabFocus // a click is no reason for the keyboard to go elsewhere
    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.focused: activeFocus
    Accessible.onPressAction: activated()
    Keys.onReturnPressed: event => activateOnce(event)
    Keys.onEnterPressed: event => activateOnce(event)
    onActivated: clicked()

    function activateOnce(event) {
        if (!event.isAutoRepeat)
            activated()
    }
}
