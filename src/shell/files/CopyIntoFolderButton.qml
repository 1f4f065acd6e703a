import QtQuick
import QtQuick.Controls
import QtQuick.Dialogs

// Opens the platform's file dialog; `chosen` hands on the file picked, which
// the screen copies into its folder.
Button {
    id: button
    property var nameFilters: [qsTr("all files (*)")]
    signal chosen(url file)

    objectName: "copyButton"
    text: qsTr("from elsewhere…")
    onClicked: chooser.open()

    FileDialog {
        id: chooser
        title: qsTr("copy a file into the folder")
        nameFilters: button.nameFilters
        onAccepted: button.chosen(selectedFile)
    }
}
