import QtQuick
import QtQuick.Controls
import Zenloft.Shell

// Texts of a work map along its bottom edge, one PanelLabel per label
// outlet; empty ones take no room.
Rectangle {
    default property alias content: texts.data
    anchors.left: parent ? parent.left : undefined
    anchors.right: parent ? parent.right : undefined
    anchors.bottom: parent ? parent.bottom : undefined
    height: texts.implicitHeight + 16
    color: "#99000000"
    visible: texts.implicitHeight > 0

    Column {
        id: texts
        anchors.left: parent ? parent.left : undefined
        anchors.right: parent ? parent.right : undefined
        anchors.verticalCenter: parent.verticalCenter
        anchors.leftMargin: 12
        spacing: 2
    }
}
