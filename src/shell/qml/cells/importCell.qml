import QtQuick
import QtQuick.Layouts

// A file of an import list.
RowLayout {
    readonly property var f: parent ? parent.fields : ({})
    implicitHeight: 52
    CellText { Layout.fillWidth: true; Layout.leftMargin: 16; text: f.file || "" }
}
