import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zenloft.Shell

// A caption and its edit field, both bound to the screen's outlets: typing
// goes to the field's text, leaving the field ends its editing.
ColumnLayout {
    id: row
    property UILabel label
    property UITextField field
    property string caption: label ? label.text : ""
    property alias placeholder: input.placeholderText
    property int inputHints: Qt.ImhNone
    spacing: 2

    Label {
        text: row.caption
        color: row.label ? row.label.textColor : "black"
        font.pixelSize: 13
        font.bold: true
        visible: text.length > 0
    }
    TextField {
        id: input
        objectName: row.objectName.length > 0 ? row.objectName + "Input" : ""
        Layout.fillWidth: true
        inputMethodHints: row.inputHints
        text: row.field ? row.field.text : ""
        onTextEdited: if (row.field) row.field.userEdit(text)
        onEditingFinished: if (row.field) row.field.endEditing()
    }
}
