import QtQuick
import QtQuick.Controls
import Zenloft.Shell

// The live heading at the top of a work map, in the colour the screen gives
// it (green along the chosen bearing).
Rectangle {
    property UILabel label
    anchors.horizontalCenter: parent ? parent.horizontalCenter : undefined
    anchors.top: parent ? parent.top : undefined
    anchors.topMargin: 12
    width: compass.implicitWidth + 32
    height: compass.implicitHeight + 12
    radius: height / 2
    color: "#99000000"
    visible: compass.text.length > 0
    Label {
        id: compass
        objectName: "kompasTXT"
        anchors.centerIn: parent
        text: parent.label ? parent.label.text : ""
        color: parent.label ? parent.label.textColor : "white"
        font.pixelSize: 34
        font.bold: true
    }
}
