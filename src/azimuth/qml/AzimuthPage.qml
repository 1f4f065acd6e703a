import QtQuick
import QtQuick.Controls
import Zenloft.Shell

// The azimuth map: lines from the work position, the heading read-out
// (green along the selected azimuth) and the position texts.
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
        PanelLabel { objectName: "pointLocationTXT"; label: page.vc ? page.vc.pointLocationTXT : null }
        PanelLabel { objectName: "pointDescriptionTXT"; label: page.vc ? page.vc.pointDescriptionTXT : null }
    }
}
