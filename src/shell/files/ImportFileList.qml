import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zenloft.Shell

// The files of an import screen's folder, the chosen one highlighted; while
// the folder is empty a note says where files go.
ColumnLayout {
    id: box
    property UITableView table
    property ImportFolder folder
    spacing: 0

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

    TableList {
        objectName: "importTable"
        Layout.fillWidth: true
        Layout.fillHeight: true
        table: box.table
        extraCells: ({ "importCell": fileCell })
    }
    Label {
        Layout.fillWidth: true
        Layout.margins: 16
        visible: box.table ? box.table.count === 0 : false
        text: qsTr("No files in %1 yet.").arg(box.folder ? box.folder.path : "")
        wrapMode: Text.WrapAnywhere
        color: "#607D8B"
    }
}
