import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A marker or sector with its switch.
RowLayout {
    id: cell
    readonly property var f: parent ? parent.fields : ({})
    implicitHeight: 60
    spacing: 12
    Rectangle { Layout.leftMargin: 16; width: 12; height: 36; radius: 3; color: cell.f.color || "transparent" }
    ColumnLayout {
        Layout.fillWidth: true
        spacing: 2
        CellText { Layout.fillWidth: true; text: cell.f.name || "" }
        CellText { Layout.fillWidth: true; text: cell.f.desc || ""; opacity: 0.6; font.pixelSize: 13 }
    }
    Switch {
        objectName: "isActive"
        Layout.rightMargin: 8
        checked: !!cell.f.isActive
        onToggled: cell.parent.table.setCellControl(cell.parent.rowIndex, "isActive", checked)
    }
}
