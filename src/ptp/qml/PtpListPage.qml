import QtQuick
import QtQuick.Controls
import Zenloft.Shell

// The point list tab of the location container: the stored points near the
// from point, nearest first unless the settings say otherwise; a tap picks
// one.
ScreenPage {
    id: page

    PointListBody {
        anchors.fill: parent
        vc: page.vc
    }

    Label {
        objectName: "labelBottomLbl"
        anchors.centerIn: parent
        width: parent.width - 48
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        opacity: 0.6
        text: page.vc ? page.vc.labelBottomLbl.text : ""
        visible: page.vc ? !page.vc.labelBottomLbl.hidden : false
    }
}
