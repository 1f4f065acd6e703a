import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// An overlay file with its switch.
RowLayout {
    id: cell
    readonly property var f: parent ? parent.fields : ({})
    implicitHeight: 52
    CellText { Layout.fillWidth: true; Layout.leftMargin: 16; text: cell.f.name || "" }
    Switch {
        objectName: "isActive"
        Layout.rightMargin: 8
        checked: !!cell.f.isActive
        onToggled: cell.parent.table.setCellControl(cell.parent.rowIndex, "isActive", checked)
    }
}
