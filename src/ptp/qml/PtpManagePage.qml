import QtQuick
import QtQuick.Controls
import Zenloft.Shell

// The stored points to edit: "+" adds one, a tap edits one, a swipe deletes.
ScreenPage {
    id: page

    trailing: ToolButton {
        objectName: "addPointButton"
        text: "+"
        font.pixelSize: 24
        onClicked: if (page.vc) page.vc.addPoint()
    }

    PointListBody {
        anchors.fill: parent
        vc: page.vc
    }
}
