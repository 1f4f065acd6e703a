import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zenloft.Shell
import Zenloft.Map

// A location chosen on the map: long press or search an address; the
// segments switch between the device's position and the manual one.
ScreenPage {
    id: page

    Item {
        id: mapArea
        anchors.fill: parent
    }

    function attachMap() {
        if (!page.vc || !page.vc.mapView) return
        page.vc.mapView.parent = mapArea
        page.vc.mapView.anchors.fill = mapArea
    }
    onVcChanged: attachMap()
    Component.onCompleted: attachMap()

    Connections {
        target: page.vc
        ignoreUnknownSignals: true
        function onEndEditing() { page.forceActiveFocus() }
    }

    ColumnLayout {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: 12
        spacing: 8

        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 48
            radius: 8
            color: "white"
            TextField {
                objectName: "lokalizacjaName"
                anchors.fill: parent
                anchors.leftMargin: 8
                anchors.rightMargin: 8
                placeholderText: qsTr("search address")
                text: page.vc ? page.vc.lokalizacjaName.text : ""
                onTextEdited: if (page.vc) page.vc.lokalizacjaName.userEdit(text)
                onAccepted: if (page.vc) page.vc.szukajLokalizacji()
            }
        }
        Rectangle {
            Layout.fillWidth: true
            implicitHeight: segments.implicitHeight
            radius: 8
            color: "white"
            TabBar {
                id: segments
                objectName: "picker"
                anchors.fill: parent
                enabled: page.vc ? page.vc.picker.enabled : true
                currentIndex: page.vc ? page.vc.picker.selectedSegmentIndex : 0
                Repeater {
                    model: page.vc ? page.vc.picker.titles : []
                    TabButton {
                        required property string modelData
                        required property int index
                        text: modelData
                        onClicked: page.vc.picker.userSelect(index)
                    }
                }
            }
        }
        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 36
            radius: 8
            color: "#99000000"
            visible: point.text.length > 0
            Label {
                id: point
                objectName: "pointLabel"
                anchors.verticalCenter: parent.verticalCenter
                anchors.left: parent.left
                anchors.leftMargin: 12
                text: page.vc ? page.vc.pointLabel.text : ""
                color: page.vc ? page.vc.pointLabel.textColor : "white"
            }
        }
    }

}
