import QtQuick
import QtQuick.Layouts

RowLayout {
    readonly property var f: parent ? parent.fields : ({})
    implicitHeight: 52
    CellText { Layout.fillWidth: true; Layout.leftMargin: 16; text: f.label || ""; horizontalAlignment: Text.AlignHCenter }
}
