import QtQuick
import QtQuick.Controls
import Zenloft.Shell

// The help page.
ScreenPage {
    id: page

    Flickable {
        anchors.fill: parent
        contentHeight: text.implicitHeight + 32
        clip: true
        ScrollIndicator.vertical: ScrollIndicator { }
        Text {
            id: text
            objectName: "helpText"
            x: 16
            y: 16
            width: parent.width - 32
            wrapMode: Text.WordWrap
            textFormat: Text.RichText
            text: page.vc ? page.vc.webView.html : ""
            baseUrl: page.vc ? page.vc.webView.baseUrl : ""
            color: palette.text
            font.pixelSize: 15
            onLinkActivated: (link) => Qt.openUrlExternally(link)
        }
    }
}
