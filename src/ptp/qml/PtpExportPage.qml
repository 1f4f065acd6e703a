import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zenloft.Shell

// Export of every stored point to a file of the folder "markers".
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
        Label {
            objectName: "titleTXT"
            Layout.fillWidth: true
            text: page.vc ? page.vc.titleTXT.text : ""
            wrapMode: Text.Wrap
        }
        Label {
            Layout.fillWidth: true
            text: page.vc ? page.vc.filenameLbl.text : ""
            color: "#455A64"
        }
        TextField {
            objectName: "filename"
            Layout.fillWidth: true
            placeholderText: "points"
            text: page.vc ? page.vc.filename.text : ""
            onTextEdited: page.vc.filename.userEdit(text)
            onEditingFinished: if (page.vc) page.vc.filename.endEditing()
        }
        Button {
            objectName: "exportButton"
            Layout.fillWidth: true
            text: qsTr("export")
            enabled: page.vc ? !page.vc.busy : false
            highlighted: true
            onClicked: page.vc.exportPoints()
        }
        Label {
            objectName: "statusLabel"
            Layout.fillWidth: true
            text: page.vc ? page.vc.statusLabel.text : ""
            wrapMode: Text.WrapAnywhere
            color: "#455A64"
        }
        Item { Layout.fillHeight: true }
    }
}
