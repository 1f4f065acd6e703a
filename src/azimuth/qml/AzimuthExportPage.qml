import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zenloft.Shell

// Export of every azimuth to a file of the folder "azimuths".
ScreenPage {
    id: page

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 20
        spacing: 14

        Label {
            Layout.fillWidth: true
            text: page.vc ? page.vc.exportTitleLbl.text : ""
            font.pixelSize: 18
            font.bold: true
            wrapMode: Text.Wrap
        }
        OutletField {
            objectName: "filename"
            Layout.fillWidth: true
            label: page.vc ? page.vc.filenameLbl : null
            field: page.vc ? page.vc.filename : null
            placeholder: "azimuths"
        }
        Button {
            objectName: "exportButton"
            Layout.fillWidth: true
            text: qsTr("export")
            enabled: page.vc ? !page.vc.busy : false
            highlighted: true
            onClicked: page.vc.exportAzimuths()
        }
        Label {
            objectName: "statusLbl"
            Layout.fillWidth: true
            text: page.vc ? page.vc.statusLbl.text : ""
            wrapMode: Text.WrapAnywhere
            color: "#455A64"
        }
        Item { Layout.fillHeight: true }
    }
}
