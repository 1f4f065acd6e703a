import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Zenloft.Shell

// The menu.
Page {
    id: page
    property IntroVC vc
    background: Rectangle {
        gradient: Gradient {
            GradientStop { position: 0.0; color: "#263238" }
            GradientStop { position: 1.0; color: "#37474F" }
        }
    }

    component MenuButton: Button {
        id: button
        property color fill: "#ECEFF1"
        property color ink: "#263238"
        Layout.fillWidth: true
        Layout.preferredHeight: 64
        font.pixelSize: 18
        font.capitalization: Font.AllUppercase
        font.letterSpacing: 1.5
        contentItem: Label {
            text: button.text
            font: button.font
            color: button.ink
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
        }
        background: Rectangle {
            radius: 8
            color: button.down ? Qt.darker(button.fill, 1.15) : button.fill
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 32
        spacing: 14

        Item { Layout.fillHeight: true; Layout.preferredHeight: 1 }
        Label {
            Layout.alignment: Qt.AlignHCenter
            text: "ZENLOFT"
            color: "white"
            font.pixelSize: 40
            font.letterSpacing: 6
            font.bold: true
        }
        Label {
            Layout.alignment: Qt.AlignHCenter
            Layout.bottomMargin: 24
            text: qsTr("antenna alignment and field validation")
            color: "#B0BEC5"
            font.pixelSize: 14
        }
        MenuButton { objectName: "button_azimuth"; text: qsTr("azimuth"); onClicked: page.vc.button_azimuth() }
        MenuButton { objectName: "button_ptp"; text: qsTr("point to point"); onClicked: page.vc.button_ptp() }
        MenuButton { objectName: "button_validation"; text: qsTr("validation"); onClicked: page.vc.button_validation() }
        Item { Layout.preferredHeight: 12 }
        RowLayout {
            Layout.fillWidth: true
            spacing: 14
            MenuButton {
                objectName: "button_settings"
                text: qsTr("settings")
                fill: "#546E7A"
                ink: "white"
                onClicked: page.vc.button_settings()
            }
            MenuButton {
                objectName: "button_help"
                text: qsTr("help")
                fill: "#546E7A"
                ink: "white"
                onClicked: page.vc.button_help()
            }
        }
        Item { Layout.fillHeight: true; Layout.preferredHeight: 2 }
    }
}
