import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zenloft.Shell

// Import from a file of the folder "azimuths"; a file from elsewhere is
// copied into the folder first.
ScreenPage {
    id: page

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        Label {
            Layout.fillWidth: true
            Layout.margins: 16
            text: page.vc ? page.vc.selectFileToImport.text : ""
            font.pixelSize: 16
            font.bold: true
        }
        ImportFileList {
            Layout.fillWidth: true
            Layout.fillHeight: true
            table: page.vc ? page.vc.tableView : null
            folder: page.vc ? page.vc.folder : null
        }
        RowLayout {
            Layout.fillWidth: true
            Layout.leftMargin: 16
            Layout.rightMargin: 8
            Label {
                Layout.fillWidth: true
                text: page.vc ? page.vc.deleteAllBeforeImportLabel.text : ""
                wrapMode: Text.Wrap
            }
            Switch {
                objectName: "deleteAllAzimuths"
                checked: page.vc ? page.vc.deleteAllAzimuths.isOn : false
                onToggled: page.vc.deleteAllAzimuths.userToggle(checked)
            }
        }
        Label {
            objectName: "statusLbl"
            Layout.fillWidth: true
            Layout.leftMargin: 16
            Layout.rightMargin: 16
            wrapMode: Text.Wrap
            color: "#D32F2F"
            text: page.vc ? page.vc.statusLbl.text : ""
            visible: text.length > 0
        }
        RowLayout {
            Layout.fillWidth: true
            Layout.margins: 16
            spacing: 12
            CopyIntoFolderButton {
                Layout.fillWidth: true
                nameFilters: [qsTr("azimuth files (*.json)"), qsTr("all files (*)")]
                enabled: page.vc ? !page.vc.busy : false
                onChosen: (file) => page.vc.copyFileIntoFolder(file)
            }
            Button {
                objectName: "importButton"
                Layout.fillWidth: true
                highlighted: true
                text: page.vc ? page.vc.importButtons.title : ""
                enabled: page.vc ? !page.vc.busy && page.vc.selectedFile >= 0 : false
                onClicked: page.vc.importButtons.tap()
            }
        }
    }
}
