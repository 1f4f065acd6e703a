import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Zenloft.Shell

// Import of the points of a file of the folder "markers"; a file from
// elsewhere is copied into the folder first.
ScreenPage {
    id: page

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        Label {
            Layout.fillWidth: true
            Layout.margins: 16
            text: page.vc ? page.vc.selectFileLbl.text : ""
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
                text: page.vc ? page.vc.clearDbLbl.text : ""
                wrapMode: Text.Wrap
            }
            Switch {
                objectName: "deleteAllPoints"
                enabled: page.vc ? !page.vc.busy : false
                checked: page.vc ? page.vc.deleteAllPoints.isOn : false
                onToggled: page.vc.deleteAllPoints.userToggle(checked)
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
                nameFilters: [qsTr("point files (*.json)"), qsTr("all files (*)")]
                enabled: page.vc ? !page.vc.busy : false
                onChosen: (file) => page.vc.copyFileIntoFolder(file)
            }
            Button {
                objectName: "importButton"
                Layout.fillWidth: true
                highlighted: true
                text: page.vc ? page.vc.importBtn.title : ""
                enabled: page.vc ? !page.vc.busy && page.vc.selectedFile >= 0 : false
                onClicked: page.vc.importBtn.tap()
            }
        }
    }

    // The progress overlay: it keeps the screen's controls out of reach
    // while an import runs, and offers the way out.
    Rectangle {
        objectName: "importInfo"
        anchors.fill: parent
        visible: page.vc ? !page.vc.importInfo.hidden : false
        color: Qt.rgba(0, 0, 0, 0.55)
        MouseArea { anchors.fill: parent }

        Pane {
            anchors.centerIn: parent
            width: Math.min(parent.width - 48, 360)
            Material.elevation: 6
            ColumnLayout {
                anchors.fill: parent
                spacing: 12
                Label {
                    Layout.fillWidth: true
                    text: page.vc ? page.vc.pleaseWaitLbl.text : ""
                    font.bold: true
                    font.pixelSize: 16
                }
                Label {
                    objectName: "importInfoText"
                    Layout.fillWidth: true
                    text: page.vc ? page.vc.importInfoText.text : ""
                    wrapMode: Text.Wrap
                }
                ProgressBar {
                    objectName: "importProgress"
                    Layout.fillWidth: true
                    indeterminate: page.vc ? page.vc.progress < 0 : true
                    value: page.vc && page.vc.progress >= 0 ? page.vc.progress : 0
                }
                Button {
                    objectName: "cancelButton"
                    Layout.alignment: Qt.AlignRight
                    text: page.vc ? page.vc.cancelBtn.title : ""
                    onClicked: page.vc.cancelBtn.tap()
                }
            }
        }
    }
}
