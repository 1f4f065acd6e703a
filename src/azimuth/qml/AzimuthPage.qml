import QtQuick
import QtQuick.Controls
import Zenloft.Shell
import Zenloft.Map

// The azimuth map: lines from the work position, the heading read-out
// (green along the selected azimuth) and the position texts.
ScreenPage {
    id: page

    trailing: ToolButton {
        objectName: "settingsButton"
        text: "\u2699"
        font.pixelSize: 22
        onClicked: page.vc.settings()
    }

    Item {
        id: mapArea
        objectName: "mapArea"
        anchors.fill: parent
    }

    // The map belongs to the screen; the page only shows it.
    function attachMap() {
        if (!page.vc || !page.vc.mapView) return
        page.vc.mapView.parent = mapArea
        page.vc.mapView.anchors.fill = mapArea
    }
    onVcChanged: attachMap()
    Component.onCompleted: attachMap()

    Rectangle {
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.top: parent.top
        anchors.topMargin: 12
        width: compass.implicitWidth + 32
        height: compass.implicitHeight + 12
        radius: height / 2
        color: "#99000000"
        visible: compass.text.length > 0
        Label {
            id: compass
            objectName: "kompasTXT"
            anchors.centerIn: parent
            text: page.vc ? page.vc.kompasTXT.text : ""
            color: page.vc ? page.vc.kompasTXT.textColor : "white"
            font.pixelSize: 34
            font.bold: true
        }
    }

    Rectangle {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        height: texts.implicitHeight + 16
        color: "#99000000"
        visible: location.text.length > 0 || description.text.length > 0
        Column {
            id: texts
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            anchors.leftMargin: 12
            spacing: 2
            Label {
                id: location
                objectName: "pointLocationTXT"
                text: page.vc ? page.vc.pointLocationTXT.text : ""
                color: page.vc ? page.vc.pointLocationTXT.textColor : "white"
                font.pixelSize: 14
            }
            Label {
                id: description
                objectName: "pointDescriptionTXT"
                text: page.vc ? page.vc.pointDescriptionTXT.text : ""
                color: page.vc ? page.vc.pointDescriptionTXT.textColor : "white"
                font.pixelSize: 14
                visible: text.length > 0
            }
        }
    }
}
