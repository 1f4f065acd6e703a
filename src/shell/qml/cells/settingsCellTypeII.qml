import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Title and a switch.
RowLayout {
    id: cell
    readonly property var f: parent ? parent.fields : ({})
    implicitHeight: 52
    CellText { Layout.fillWidth: true; Layout.leftMargin: 16; text: f.settingName || "" }
    Switch {
        objectName: "settingState"
        Layout.rightMargin: 8
        checked: !!cell.f.settingState
        onToggled: cell.parent.table.setCellControl(cell.parent.rowIndex, "settingState", checked)
    }
}
