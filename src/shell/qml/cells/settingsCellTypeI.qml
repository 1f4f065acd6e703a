import QtQuick
import QtQuick.Layouts

// Title and its value.
RowLayout {
    readonly property var f: parent ? parent.fields : ({})
    implicitHeight: 52
    CellText { Layout.fillWidth: true; Layout.leftMargin: 16; text: f.settingName || "" }
    CellText { Layout.rightMargin: 16; Layout.maximumWidth: 200; text: f.descriptionName || ""; opacity: 0.6 }
}
