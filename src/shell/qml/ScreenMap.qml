import QtQuick
import Zenloft.Map

// The place of a screen's map: the map belongs to the screen, the page only
// shows it.
Item {
    id: area
    property GMSMapView map

    function attach() {
        if (!area.map) return
        area.map.parent = area
        area.map.anchors.fill = area
    }
    onMapChanged: attach()
    Component.onCompleted: attach()
}
