import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zenloft.Shell

// The azimuth form: azimuth, distance, description and colour.
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
        Label { text: colorRow.name; Layout.preferredWidth: 14; font.bold: true; color: colorRow.tint }
        Slider {
            objectName: colorRow.name + "Slider"
            Layout.fillWidth: true
            from: colorRow.slider ? colorRow.slider.minimumValue : 0
            to: colorRow.slider ? colorRow.slider.maximumValue : 255
            value: colorRow.slider ? colorRow.slider.value : 0
            onMoved: if (colorRow.slider) colorRow.slider.userSlide(value)
        }
        TextField {
            objectName: colorRow.name + "Value"
            Layout.preferredWidth: 64
            inputMethodHints: Qt.ImhDigitsOnly
            text: colorRow.field ? colorRow.field.text : ""
            onTextEdited: if (colorRow.field) colorRow.field.userEdit(text)
            onEditingFinished: if (colorRow.field) colorRow.field.endEditing()
        }
    }

    Flickable {
        anchors.fill: parent
        contentHeight: form.implicitHeight + 40
        clip: true
        ScrollIndicator.vertical: ScrollIndicator { }

        ColumnLayout {
            id: form
            x: 20
            y: 20
            width: parent.width - 40
            spacing: 12

            OutletField {
                objectName: "azimuth"
                Layout.fillWidth: true
                label: page.vc ? page.vc.azimuthLabel : null
                field: page.vc ? page.vc.azimuth : null
                inputHints: Qt.ImhFormattedNumbersOnly
            }
            OutletField {
                objectName: "distance"
                Layout.fillWidth: true
                label: page.vc ? page.vc.distanceLabel : null
                field: page.vc ? page.vc.distance : null
                inputHints: Qt.ImhFormattedNumbersOnly
            }
            OutletField {
                objectName: "pointDesc"
                Layout.fillWidth: true
                label: page.vc ? page.vc.DescriptionLabel : null
                field: page.vc ? page.vc.pointDesc : null
            }

            Label {
                text: page.vc ? page.vc.colorLabel.text : ""
                color: page.vc ? page.vc.colorLabel.textColor : "black"
                font.pixelSize: 13
                font.bold: true
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: 12
                Rectangle {
                    objectName: "colorPreview"
                    width: 48
                    height: 48
                    radius: 6
                    color: page.vc ? page.vc.colorPreview.backgroundColor : "black"
                    border.color: "#90000000"
                }
                TextField {
                    objectName: "colorHex"
                    Layout.fillWidth: true
                    font.family: "monospace"
                    text: page.vc ? page.vc.colorHex.text : ""
                    onTextEdited: if (page.vc) page.vc.colorHex.userEdit(text)
                    onEditingFinished: if (page.vc) page.vc.colorHex.endEditing()
                }
            }
            ColorRow { name: "R"; tint: "#C62828"; slider: page.vc ? page.vc.redSlider : null; field: page.vc ? page.vc.redValue : null }
            ColorRow { name: "G"; tint: "#2E7D32"; slider: page.vc ? page.vc.greenSlider : null; field: page.vc ? page.vc.greenValue : null }
            ColorRow { name: "B"; tint: "#1565C0"; slider: page.vc ? page.vc.blueSlider : null; field: page.vc ? page.vc.blueValue : null }

            Button {
                objectName: "button"
                Layout.fillWidth: true
                Layout.topMargin: 8
                highlighted: true
                text: page.vc ? page.vc.button.title : ""
                onClicked: {
                    page.forceActiveFocus()
                    page.vc.button.tap()
                }
            }
            Label {
                objectName: "statusLbl"
                Layout.fillWidth: true
                wrapMode: Text.Wrap
                color: "#D32F2F"
                text: page.vc ? page.vc.statusLbl.text : ""
                visible: text.length > 0
            }
        }
    }
}
