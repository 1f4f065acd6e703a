import QtQuick
import QtQuick.Controls

// A line of text in a cell.
Label {
    elide: Text.ElideRight
    verticalAlignment: Text.AlignVCenter
    font.pixelSize: 16
}
