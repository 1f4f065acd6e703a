import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zenloft.Shell

// A container screen: the page of the chosen tab above the tabs. A tab's
// page is made when the tab is first shown.
ScreenPage {
    id: page

    // A tab's page is made once the tab is first shown, then kept.
    function showChosen() {
        const chosen = page.vc ? tabPages.itemAt(page.vc.selectedIndex) : null
        if (chosen) chosen.active = true
    }
    Connections {
        target: page.vc
        ignoreUnknownSignals: true
        function onSelectedIndexChanged() { page.showChosen() }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        StackLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            currentIndex: page.vc ? page.vc.selectedIndex : 0
            Repeater {
                id: tabPages
                model: page.vc ? page.vc.pages.length : 0
                onItemAdded: page.showChosen()
                Loader {
                    required property int index
                    objectName: "tab" + index
                    active: false
                    source: page.vc ? page.vc.pages[index] : ""
                    onLoaded: {
                        item.embedded = true
                        item.vc = page.vc.tabs[index]
                    }
                }
            }
        }
        TabBar {
            objectName: "tabBar"
            Layout.fillWidth: true
            currentIndex: page.vc ? page.vc.selectedIndex : 0
            Repeater {
                model: page.vc ? page.vc.tabTitles : []
                TabButton {
                    required property string modelData
                    required property int index
                    objectName: "tabButton" + index
                    text: modelData
                    onClicked: page.vc.setSelectedIndex(index)
                }
            }
        }
    }
}
