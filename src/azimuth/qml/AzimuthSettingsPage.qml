import QtQuick
import QtQuick.Controls
import Zenloft.Shell

// The azimuth settings: position source, the azimuths with their switches
// (swipe a row for "DELETE"), add, import, export, and two general settings.
ScreenPage {
    id: page

    TableList {
        objectName: "azimuthSettingsTable"
        anchors.fill: parent
        table: page.vc ? page.vc.tableView : null
    }
}
