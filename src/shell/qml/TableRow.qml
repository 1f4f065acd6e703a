import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import Zenloft.Shell

// One row: picks the cell by its class; a deletable row swipes to "DELETE".
SwipeDelegate {
    id: row
    required property int index
    required property string cellClass
    required property var fields
    required property bool deletable
    property UITableView table
    property var extraCells: ({})

    width: ListView.view ? ListView.view.width : implicitWidth
    padding: 0
    topPadding: 0
    bottomPadding: 0
    swipe.enabled: deletable

    readonly property var knownCells: ["settingsCellTypeI", "settingsCellTypeII", "settingsCellTypeIII",
        "settingsCellTypeIV", "settings_table_cell", "settings_table_cell_dual", "importCell", "validationTypeI",
        "listCell", "manage", "markers", "markerAdd", "validationFiles"]
    // A class nobody knows gets a plain cell with no content.
    function cellUrl(name) {
        return Qt.resolvedUrl("cells/" + (knownCells.indexOf(name) >= 0 ? name : "plainCell") + ".qml")
    }
    onClicked: table.selectRow(index)

    contentItem: Loader {
        id: cell
        property var fields: row.fields
        property int rowIndex: row.index
        property UITableView table: row.table
        sourceComponent: row.extraCells[row.cellClass] !== undefined ? row.extraCells[row.cellClass] : null
        source: sourceComponent ? "" : row.cellUrl(row.cellClass)
    }

    swipe.right: Rectangle {
        width: 96
        height: row.height
        anchors.right: parent.right
        color: Qt.rgba(0.74509805, 0.15686275, 0.07450981, 1)
        Label {
            anchors.centerIn: parent
            text: qsTr("DELETE")
            color: "white"
            font.bold: true
        }
        TapHandler {
            onTapped: {
                row.swipe.close()
                row.table.deleteRow(row.index)
            }
        }
    }
}
