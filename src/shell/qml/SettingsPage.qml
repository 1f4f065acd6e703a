import QtQuick
import QtQuick.Controls
import Zenloft.Shell

// The general settings.
ScreenPage {
    id: page

    TableList {
        objectName: "settingsTable"
        anchors.fill: parent
        table: page.vc ? page.vc.tableView : null
    }
}
