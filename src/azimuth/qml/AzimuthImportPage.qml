import QtQuick
import QtQuick.Controls
import QtQuick.Dialogs
import QtQuick.Layouts
import Zenloft.Shell

// Import from a file of the folder "azimuths"; a file from elsewhere is
// copied into the folder first.
ScreenPage {
    id: page

    Component {
        id: fileCell
        Rectangle {
            readonly property var f: parent ? parent.fields : ({})
            implicitHeight: 52
            implicitWidth: 200
            color: f.selected ? Qt.rgba(0.33333334, 0.33333334, 0.33333334, 1) : "transparent"
            Label {
                anchors.verticalCenter: parent.verticalCenter
                anchors.left: parent.left
                anchors.right: parent.right
                anchors.leftMargin: 16
                anchors.rightMargin: 16
                elide: Text.ElideMiddle
                text: parent.f.file || ""
                color: parent.f.selected ? Qt.rgba(0.81960785, 0.827451, 0.83137256, 1) : "black"
            }
        }
    }

    FileDialog {
        id: chooser
        title: qsTr("copy a file into the folder")
        nameFilters: [qsTr("azimuth files (*.json)"), qsTr("all files (*)")]
        onAccepted: page.vc.copyFileIntoFolder(selectedFile)
    }

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
        TableList {
            objectName: "importTable"
            Layout.fillWidth: true
            Layout.fillHeight: true
            table: page.vc ? page.vc.tableView : null
            extraCells: ({ "importCell": fileCell })
        }
        Label {
            Layout.fillWidth: true
            Layout.margins: 16
            visible: page.vc ? page.vc.tableView.count === 0 : false
            text: qsTr("No files in %1 yet.").arg(page.vc ? page.vc.folderPath : "")
            wrapMode: Text.WrapAnywhere
            color: "#607D8B"
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
            Button {
                objectName: "copyButton"
                Layout.fillWidth: true
                text: qsTr("from elsewhere…")
                enabled: page.vc ? !page.vc.busy : false
                onClicked: chooser.open()
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
