import QtQuick
import QtQuick.Layouts

// A stored point: name, description and its colour.
RowLayout {
    readonly property var f: parent ? parent.fields : ({})
    implicitHeight: 60
    spacing: 12
    Rectangle { Layout.leftMargin: 16; width: 12; height: 36; radius: 3; color: f.color || "transparent" }
    ColumnLayout {
        Layout.fillWidth: true
        spacing: 2
        CellText { Layout.fillWidth: true; text: f.name || "" }
        CellText { Layout.fillWidth: true; text: f.desc || ""; opacity: 0.6; font.pixelSize: 13 }
    }
}
