import QtQuick
import QtQuick.Controls
import Zenloft.Shell

// The point-to-point settings: where the points come from, the stored
// points, the lists' radius and order, the needle and the units.
ScreenPage {
    id: page

    TableList {
        objectName: "ptpSettingsTable"
        anchors.fill: parent
        table: page.vc ? page.vc.tableView : null
    }
}
