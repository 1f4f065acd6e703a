import QtQuick

// The header of a settings table's section: 40 high, grey 85, white text.
Rectangle {
    property alias text: label.text
    width: ListView.view ? ListView.view.width : 0
    height: 40
    color: Qt.rgba(0.33333334, 0.33333334, 0.33333334, 1)
    Text {
        id: label
        x: 15
        width: parent.width - 30
        height: 40
        verticalAlignment: Text.AlignVCenter
        color: "white"
        font.family: "Avenir"
        font.weight: Font.Black
        font.pixelSize: 14
        elide: Text.ElideRight
    }
}
