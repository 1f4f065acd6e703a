import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zenloft.Shell

// The marker editor: the small map with the address search on it, then the
// name, the description, the colour and the button.
ScreenPage {
    id: page

    component ColorRow: RowLayout {
        id: colorRow
        property UISlider slider
        property UITextField field
        property string name
        property color tint
        Layout.fillWidth: true
        spacing: 8
        Label { text: colorRow.name.charAt(0); Layout.preferredWidth: 14; font.bold: true; color: colorRow.tint }
        Slider {
            objectName: "slider" + colorRow.name
            Layout.fillWidth: true
            from: colorRow.slider ? colorRow.slider.minimumValue : 0
            to: colorRow.slider ? colorRow.slider.maximumValue : 255
            value: colorRow.slider ? colorRow.slider.value : 0
            onMoved: if (colorRow.slider) colorRow.slider.userSlide(value)
        }
        TextField {
            objectName: "dec" + colorRow.name
            Layout.preferredWidth: 64
            inputMethodHints: Qt.ImhDigitsOnly
            text: colorRow.field ? colorRow.field.text : ""
            onTextEdited: if (colorRow.field) colorRow.field.userEdit(text)
            onEditingFinished: if (colorRow.field) colorRow.field.endEditing()
        }
    }

    component OutletText: TextField {
        id: outletText
        property UITextField field
        Layout.fillWidth: true
        placeholderText: field ? field.placeholder : ""
        text: field ? field.text : ""
        onTextEdited: if (field) field.userEdit(text)
        onEditingFinished: if (field) field.endEditing()
    }

    Connections {
        target: page.vc
        ignoreUnknownSignals: true
        function onEndEditing() { page.forceActiveFocus() }
    }

    ScreenMap {
        id: mapArea
        map: page.vc ? page.vc.mapView : null
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        height: Math.round(parent.height * 0.4)
        clip: true

        Rectangle {
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.top: parent.top
            anchors.margins: 10
            z: 1
            implicitHeight: 44
            radius: 8
            color: "white"
            TextField {
                objectName: "searchTXT"
                anchors.fill: parent
                anchors.leftMargin: 8
                anchors.rightMargin: 8
                placeholderText: page.vc ? page.vc.searchTXT.placeholder : ""
                text: page.vc ? page.vc.searchTXT.text : ""
                onTextEdited: if (page.vc) page.vc.searchTXT.userEdit(text)
                onAccepted: if (page.vc) page.vc.szukajLokalizacji()
            }
        }
    }

    Flickable {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: mapArea.bottom
        anchors.bottom: parent.bottom
        contentHeight: form.implicitHeight + 32
        clip: true
        ScrollIndicator.vertical: ScrollIndicator { }

        ColumnLayout {
            id: form
            x: 16
            y: 16
            width: parent.width - 32
            spacing: 8

            OutletText { objectName: "nameTXT"; field: page.vc ? page.vc.nameTXT : null }
            OutletText { objectName: "descTXT"; field: page.vc ? page.vc.descTXT : null }

            RowLayout {
                Layout.fillWidth: true
                spacing: 12
                Rectangle {
                    objectName: "colorView"
                    width: 40
                    height: 40
                    radius: 6
                    color: page.vc ? page.vc.colorView.backgroundColor : "grey"
                    border.color: "#90000000"
                }
                // An output only: the colour's text.
                TextField {
                    objectName: "colorHex"
                    Layout.fillWidth: true
                    font.family: "monospace"
                    text: page.vc ? page.vc.colorHex.text : ""
                    onTextEdited: if (page.vc) page.vc.colorHex.userEdit(text)
                    onEditingFinished: if (page.vc) page.vc.colorHex.endEditing()
                }
            }
            ColorRow { name: "Red"; tint: "#C62828"; slider: page.vc ? page.vc.sliderRed : null; field: page.vc ? page.vc.decRed : null }
            ColorRow { name: "Green"; tint: "#2E7D32"; slider: page.vc ? page.vc.sliderGreen : null; field: page.vc ? page.vc.decGreen : null }
            ColorRow { name: "Blue"; tint: "#1565C0"; slider: page.vc ? page.vc.sliderBlue : null; field: page.vc ? page.vc.decBlue : null }

            Button {
                objectName: "addButton"
                Layout.fillWidth: true
                Layout.topMargin: 4
                highlighted: true
                text: page.vc ? page.vc.addButton.title : ""
                onClicked: {
                    page.forceActiveFocus()
                    page.vc.addButton.tap()
                }
            }
            Label {
                objectName: "statusLbl"
                Layout.fillWidth: true
                wrapMode: Text.Wrap
                color: page.vc ? page.vc.statusLbl.textColor : "red"
                text: page.vc ? page.vc.statusLbl.text : ""
                visible: text.length > 0
            }
        }
    }
}
