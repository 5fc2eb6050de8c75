import QtQuick
import Tavro.Onboarding
import Tavro.UI

FocusScope {
    id: view

    required property OnboardingModel model

    readonly property Item preferredFocus: !model.screenGranted ? screen.button
        : !model.microphoneGranted ? microphone.button
        : !model.speechGranted ? speech.button
        : !model.isComplete ? signIn : done // what is to be done next

    implicitWidth: Theme.scaled(460)
    implicitHeight: content.height + 56
    focus: true

    Keys.onReturnPressed: model.done()
    Keys.onEnterPressed: model.done()
    Keys.onEscapePressed: Window.window.close()

    Column {
        id: content

        x: 28
        y: 28
        width: view.width - 56
        spacing: 18

        Text {
            width: parent.width
            text: "Welcome to Tavro"
            font: Theme.title
            color: Theme.c.paper
            wrapMode: Text.WordWrap
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Text {
            width: parent.width
            text: "Record test-scenario runthroughs with video, narration, and screenshots."
            font: Theme.body
            color: Theme.c.sand
            wrapMode: Text.WordWrap
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }

        OnboardingSection {
            width: parent.width
            title: "Permissions"

            PermissionRow {
                id: screen

                width: parent.width
                name: "Screen Recording"
                granted: view.model.screenGranted
                onGrantRequested: view.model.grantScreen()
            }
            PermissionRow {
                id: microphone

                width: parent.width
                name: "Microphone"
                granted: view.model.microphoneGranted
                onGrantRequested: view.model.grantMicrophone()
            }
            PermissionRow {
                id: speech

                width: parent.width
                name: "Speech Recognition"
                granted: view.model.speechGranted
                onGrantRequested: view.model.grantSpeech()
            }
            Item {
                width: parent.width
                implicitHeight: Math.max(note.implicitHeight, relaunch.implicitHeight)

                Text {
                    id: note

                    anchors.verticalCenter: parent.verticalCenter
                    width: parent.width - relaunch.width - 16
                    visible: text !== ""
                    text: view.model.relaunchNote
                    textFormat: Text.PlainText
                    font: Theme.note
                    color: Theme.c.muted
                    wrapMode: Text.WordWrap
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
                GhostButtonStyle {
                    id: relaunch

                    anchors.right: parent.right
                    anchors.verticalCenter: parent.verticalCenter
                    text: "Quit & Relaunch"
                    onClicked: view.model.relaunch()
                }
            }
        }

        OnboardingSection {
            width: parent.width
            title: "Sign in"

            Item {
                width: parent.width
                implicitHeight: signIn.implicitHeight

                Text {
                    anchors.verticalCenter: parent.verticalCenter
                    width: parent.width - signIn.width - 16
                    text: view.model.accountText
                    textFormat: Text.PlainText
                    font: Theme.body
                    color: Theme.c.sand
                    wrapMode: Text.Wrap
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
                GhostButtonStyle {
                    id: signIn

                    anchors.right: parent.right
                    anchors.verticalCenter: parent.verticalCenter
                    text: view.model.signedIn ? "Sign out" : "Sign in with browser"
                    onClicked: view.model.signInOrOut()
                }
            }
        }

        ClayButtonStyle {
            id: done

            anchors.right: parent.right
            text: "Done"
            Accessible.defaultButton: true
            enabled: view.model.isComplete
            onClicked: view.model.done()
        }
    }
}
