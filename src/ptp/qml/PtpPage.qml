import QtQuick
import QtQuick.Controls
import Zenloft.Shell

// Point to point: the line from the from point to the target, the heading
// read-out (green along the line) and the two points' coordinates.
ScreenPage {
    id: page

    trailing: ToolButton {
        objectName: "settingsButton"
        text: "\u2699"
        font.pixelSize: 22
        onClicked: page.vc.settings()
    }

    ScreenMap {
        objectName: "mapArea"
        anchors.fill: parent
        map: page.vc ? page.vc.mapView : null
    }
    CompassPill { label: page.vc ? page.vc.kompasTXT : null }
    LabelPanel {
        PanelLabel { objectName: "fromTXT"; label: page.vc ? page.vc.fromTXT : null }
        PanelLabel { objectName: "toTXT"; label: page.vc ? page.vc.toTXT : null }
    }
}
