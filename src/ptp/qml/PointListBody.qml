import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zenloft.Shell

// The body both point lists share: the search bar above the table of
// stored points. The bar's text and keys go to the screen's search outlet.
ColumnLayout {
    id: body
    property var vc
    property alias table: list
    spacing: 0

    TextField {
        id: search
        objectName: "searchBar"
        Layout.fillWidth: true
        Layout.margins: 8
        placeholderText: qsTr("Search")
        inputMethodHints: Qt.ImhNoPredictiveText
        text: body.vc ? body.vc.searchBar.text : ""
        onTextEdited: if (body.vc) body.vc.searchBar.userEdit(text)
        onAccepted: if (body.vc) body.vc.searchBar.endEditing()
    }

    TableList {
        id: list
        objectName: "pointTable"
        Layout.fillWidth: true
        Layout.fillHeight: true
        table: body.vc ? body.vc.tableView : null
    }

    Connections {
        target: body.vc
        function onEndEditing() { search.focus = false }
    }
}
