import QtQuick
import Tavro.UI

FocusScope {
    id: form

    required property SetupModel model
    readonly property real labelWidth: Math.max(project.ownLabelWidth, scenario.ownLabelWidth, capture.ownLabelWidth)

    implicitWidth: Theme.scaled(460)
    implicitHeight: content.height + 56
    focus: true

    Keys.onReturnPressed: model.start()
    Keys.onEnterPressed: model.start()
    Keys.onEscapePressed: model.cancel()

    Column {
        id: content

        x: 28
        y: 28
        width: form.width - 56
        spacing: 18

        Text {
            text: "New Session"
            font: Theme.heading
            color: Theme.c.paper
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }

        FormCard {
            width: parent.width

            FormRow {
                id: project

                width: parent.width
                label: "Project"
                labelWidth: form.labelWidth

                PickerField {
                    id: projectPicker

                    width: parent.width
                    label: "Project"
                    loading: form.model.loadingProjects
                    items: form.model.projects
                    selectedId: form.model.selectedProjectId
                    onPicked: id => form.model.selectProject(id)
                }
            }
            FormRow {
                id: scenario

                width: parent.width
                label: "Scenario"
                labelWidth: form.labelWidth

                PickerField {
                    width: parent.width
                    label: "Scenario"
                    loading: form.model.loadingScenarios
                    items: form.model.scenarios
                    selectedId: form.model.selectedScenarioId
                    onPicked: id => form.model.selectedScenarioId = id
                }
            }
            FormRow {
                width: parent.width
                label: ""
                labelWidth: form.labelWidth

                EntryField {
                    width: parent.width - add.width - 10
                    placeholderText: "+ New scenario name"
                    text: form.model.newScenarioName
                    onTextEdited: form.model.newScenarioName = text
                }
                GhostButtonStyle {
                    id: add

                    anchors.right: parent.right
                    anchors.verticalCenter: parent.verticalCenter
                    text: "Add"
                    enabled: form.model.canAdd
                    onClicked: form.model.add()
                }
            }
            Item {
                width: parent.width
                implicitHeight: Math.max(failure.implicitHeight, again.implicitHeight)
                visible: failure.text !== ""

                Text {
                    id: failure

                    anchors.verticalCenter: parent.verticalCenter
                    width: parent.width - again.width - 16
                    text: form.model.serviceFailure
                    textFormat: Text.PlainText
                    font: Theme.body
                    color: Theme.c.sand
                    wrapMode: Text.WordWrap
                    Accessible.role: Accessible.AlertMessage
                    Accessible.name: text
                }
                GhostButtonStyle {
                    id: again

                    anchors.right: parent.right
                    anchors.verticalCenter: parent.verticalCenter
                    text: "Try Again"
                    onClicked: form.model.tryAgain()
                    onVisibleChanged: { // the keyboard stays with the form
                        if (!visible && focus)
                            projectPicker.forceActiveFocus()
                    }
                }
            }
        }

        FormCard {
            width: parent.width

            FormRow {
                id: capture

                width: parent.width
                label: "Capture"
                labelWidth: form.labelWidth

                PickerField {
                    width: parent.width
                    label: "Capture"
                    loading: form.model.loadingDisplays
                    items: form.model.captureOptions
                    selectedId: form.model.selectedCaptureId
                    onPicked: id => form.model.selectedCaptureId = id
                }
            }
            Text {
                x: form.labelWidth + 14
                width: parent.width - x
                visible: text !== ""
                text: form.model.captureHint
                textFormat: Text.PlainText
                font: Theme.note
                color: Theme.c.sand
                wrapMode: Text.WordWrap
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            Text {
                width: parent.width
                visible: form.model.noDisplays
                text: "No screen available — grant Screen Recording, then Quit & Relaunch Tavro."
                textFormat: Text.PlainText
                font: Theme.body
                color: Theme.c.sand
                wrapMode: Text.WordWrap
                Accessible.role: Accessible.AlertMessage
                Accessible.name: text
            }
        }

        FormCard {
            width: parent.width

            EntryField {
                width: parent.width
                placeholderText: "App URL (optional)"
                text: form.model.appUrl
                inputMethodHints: Qt.ImhUrlCharactersOnly
                onTextEdited: form.model.appUrl = text
            }
            ToggleField {
                text: "Narrate with microphone"
                checked: form.model.includeMic
                onToggled: form.model.includeMic = checked
            }
        }

        Text {
            width: parent.width
            text: form.model.destination
            textFormat: Text.PlainText
            font: Theme.note
            color: Theme.c.sand
            wrapMode: Text.Wrap
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }

        Row {
            anchors.right: parent.right
            spacing: 10

            GhostButtonStyle {
                anchors.verticalCenter: parent.verticalCenter
                text: "Cancel"
                onClicked: form.model.cancel()
            }
            ClayButtonStyle {
                id: start

                anchors.verticalCenter: parent.verticalCenter
                text: "Start"
                Accessible.defaultButton: true
                enabled: form.model.canStart
                onClicked: form.model.start()
            }
        }
    }
}
