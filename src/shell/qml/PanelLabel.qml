import QtQuick
import QtQuick.Controls
import Zenloft.Shell

// One line of a LabelPanel, bound to a label outlet of the screen.
Label {
    property UILabel label
    text: label ? label.text : ""
    color: label ? label.textColor : "white"
    font.pixelSize: 14
    visible: text.length > 0
}
