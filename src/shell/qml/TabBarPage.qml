import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zenloft.Shell

// A container screen: the page of the chosen tab above the tabs. A tab's
// page is made when the tab is first shown.
ScreenPage {
    id: page

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        StackLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            currentIndex: page.vc ? page.vc.selectedIndex : 0
            Repeater {
                model: page.vc ? page.vc.pages.length : 0
                Loader {
                    id: tab
                    required property int index
                    objectName: "tab" + index
                    // Made once the tab is first shown, then kept.
                    active: false
                    function showIfChosen() { if (page.vc && page.vc.selectedIndex === index) active = true }
                    Component.onCompleted: showIfChosen()
                    Connections {
                        target: page.vc
                        function onSelectedIndexChanged() { tab.showIfChosen() }
                    }
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
