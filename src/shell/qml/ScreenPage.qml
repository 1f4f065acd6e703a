import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import Zenloft.Shell

// A pushed screen: a bar with the back button and the screen's title.
// Screens that keep the light look get it here, whatever the system's.
Page {
    id: page
    property UIViewController vc
    // Extra controls on the right of the bar.
    default property alias content: body.data
    property alias trailing: trailingRow.data
    // Shown inside a container screen, which has the bar.
    property bool embedded: false

    Material.theme: vc && vc.overrideUserInterfaceStyle === 1 ? Material.Light : Material.System
    title: vc ? vc.title : ""

    header: ToolBar {
        visible: !page.embedded
        Material.foreground: "white"
        implicitHeight: 56
        background: Rectangle { implicitHeight: 56; color: "#37474F" }
        Row {
            anchors.left: parent.left
            anchors.verticalCenter: parent.verticalCenter
            ToolButton {
                objectName: "backButton"
                visible: page.StackView.index > 0
                text: "‹ " + qsTr("Back")
                onClicked: Shell.navigation.popViewControllerAnimated(true)
            }
        }
        Label {
            anchors.centerIn: parent
            width: parent.width - 200
            text: page.title
            elide: Label.ElideRight
            horizontalAlignment: Qt.AlignHCenter
            font.bold: true
            font.pixelSize: 17
            color: "white"
        }
        Row {
            id: trailingRow
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
        }
    }

    Item {
        id: body
        anchors.fill: parent
    }
}
