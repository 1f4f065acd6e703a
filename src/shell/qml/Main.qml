import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Zenloft.Shell

// The root screen: the navigation stack above the bottom strip.
ApplicationWindow {
    id: window
    width: 390
    height: 844
    minimumWidth: 320
    minimumHeight: 480
    visible: true
    title: qsTr("Zenloft")
    Material.accent: Material.Teal
    Material.primary: "#37474F"

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        StackView {
            id: stack
            objectName: "navigationStack"
            Layout.fillWidth: true
            Layout.fillHeight: true
        }

        // Bottom strip for a banner; no height until one shows.
        Rectangle {
            objectName: "bottomStrip"
            Layout.fillWidth: true
            Layout.preferredHeight: Shell.mainVC.BottomAdHeight
            color: "#202020"
            Behavior on Layout.preferredHeight {
                NumberAnimation { duration: Shell.mainVC.stripAnimationSeconds * 1000 }
            }
        }
    }

    Connections {
        target: Shell.navigation
        function onPushed(controller, page, animated) {
            stack.push(page, { vc: controller }, animated ? StackView.PushTransition : StackView.Immediate)
        }
        function onPopped(animated) {
            stack.pop(animated ? StackView.PopTransition : StackView.Immediate)
        }
        function onRootReplaced(controller, page) {
            stack.clear(StackView.Immediate)
            stack.push(page, { vc: controller }, StackView.Immediate)
        }
    }

    // A note that goes away by itself.
    Rectangle {
        id: noticeBar
        objectName: "noticeBar"
        property string text: Shell.appDelegate.notice
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 24 + Shell.mainVC.BottomAdHeight
        width: Math.min(parent.width - 32, noticeLabel.implicitWidth + 32)
        height: noticeLabel.implicitHeight + 20
        radius: 8
        color: "#E0263238"
        opacity: 0
        visible: opacity > 0
        Label {
            id: noticeLabel
            anchors.centerIn: parent
            width: Math.min(implicitWidth, window.width - 64)
            wrapMode: Text.Wrap
            color: "white"
            text: noticeBar.text
        }
        onTextChanged: if (text.length > 0) { opacity = 1; noticeTimer.restart() }
        Timer { id: noticeTimer; interval: 5000; onTriggered: noticeBar.opacity = 0 }
        Behavior on opacity { NumberAnimation { duration: 250 } }
        Component.onCompleted: if (text.length > 0) { opacity = 1; noticeTimer.restart() }
    }

    Dialog {
        id: problemDialog
        objectName: "problemDialog"
        anchors.centerIn: parent
        width: Math.min(parent.width - 40, 360)
        modal: true
        title: qsTr("Zenloft")
        standardButtons: Dialog.Ok
        closePolicy: Popup.NoAutoClose
        onAccepted: Shell.appDelegate.dismissProblem()
        Label {
            width: parent.width
            wrapMode: Text.Wrap
            text: Shell.appDelegate.problem
        }
        function follow() {
            if (Shell.appDelegate.problem.length > 0) open(); else close()
        }
        Component.onCompleted: follow()
        Connections {
            target: Shell.appDelegate
            function onProblemChanged() { problemDialog.follow() }
        }
    }
}
