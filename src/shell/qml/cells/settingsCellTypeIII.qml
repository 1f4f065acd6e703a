import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A colour swatch, a title and a switch.
RowLayout {
    id: cell
    readonly property var f: parent ? parent.fields : ({})
    implicitHeight: 52
    spacing: 12
    Rectangle {
        Layout.leftMargin: 16
        width: 22; height: 22; radius: 4
        color: cell.f.labelColor || "transparent"
        border.color: "#90000000"
    }
    CellText { Layout.fillWidth: true; text: cell.f.labelName || "" }
    Switch {
        objectName: "setEnabled"
        Layout.rightMargin: 8
        checked: !!cell.f.setEnabled
        onToggled: cell.parent.table.setCellControl(cell.parent.rowIndex, "setEnabled", checked)
    }
}
