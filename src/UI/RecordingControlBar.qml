import QtQuick
import Tavro.UI

// The bar that floats over the recorded screen.
FocusScope {
    id: bar

    required property ControlBarModel model
    required property MoreMenu menu
    readonly property Item preferredFocus: finish
    readonly property int room: 18 // around the panel, for the shadow

    implicitWidth: Math.max(380, capsule.width) + 2 * room
    implicitHeight: capsule.height + 2 * room
    focus: true

    Keys.onReturnPressed: model.finish()
    Keys.onEnterPressed: model.finish()
    Keys.onEscapePressed: menu.close()

    SoftShadow {
        x: capsule.x - spread
        y: capsule.y - spread + 4 // light from above
        width: capsule.width + 2 * spread
        height: capsule.height + 2 * spread
        spread: bar.room - 4
        radius: capsule.radius
        color: Qt.alpha("black", 0.4)
    }

    Plate {
        id: capsule

        objectName: "capsule"
        anchors.centerIn: parent
        width: row.width + 32
        height: row.height + 18
        radius: height / 2
        color: Qt.alpha(Theme.c.bark, 0.92)
        outlineWidth: 1
        outlineColor: Theme.c.border

        StatusAlert {
            anchors.fill: parent
            statuses: ["Recording", "Paused", "Finishing", "Deleting"]
            status: bar.model.isFinishing ? "Finishing" : bar.model.isEnding ? "Deleting"
                : bar.model.isPaused ? "Paused" : "Recording"
        }
        DragHandler {
            objectName: "drag"
            target: null // the owner moves the window instead
        }

        Row {
            id: row

            anchors.centerIn: parent
            spacing: 12
            enabled: !bar.model.isEnding
            opacity: enabled ? 1 : 0.6

            RecordingDot {
                anchors.verticalCenter: parent.verticalCenter
                dimmed: bar.model.isPaused
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: bar.model.elapsed
                font: Theme.clock
                color: Theme.c.paper
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            LevelMeter {
                objectName: "level"
                anchors.verticalCenter: parent.verticalCenter
                width: Theme.scaled(44)
                height: Theme.scaled(14)
                level: bar.model.shownLevel
                alarm: bar.model.isMicrophoneSilent
                value: bar.model.toldLevel
                Accessible.name: "Sound level"
                Accessible.description: bar.model.isMicrophoneSilent ? "No sound from the microphone" : ""
            }
            CircularControl {
                anchors.verticalCenter: parent.verticalCenter
                symbol: bar.model.isPaused ? "play.fill" : "pause.fill"
                text: bar.model.isPaused ? "Resume" : "Pause"
                onTriggered: bar.model.pauseOrResume()
            }
            FinishButton {
                id: finish

                anchors.verticalCenter: parent.verticalCenter
                visible: !bar.model.isFinishing
                onClicked: bar.model.finish()
            }
            FinishingNote {
                anchors.verticalCenter: parent.verticalCenter
                visible: bar.model.isFinishing
                progress: bar.model.uploadProgress
            }
            MoreButton {
                objectName: "more"
                anchors.verticalCenter: parent.verticalCenter
                menu: bar.menu
            }
        }
    }
}
