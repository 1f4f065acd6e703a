import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Zenloft.Shell

// The radius of the point lists: three digit wheels and the unit.
ScreenPage {
    id: page

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 20
        spacing: 16

        Label {
            Layout.fillWidth: true
            text: page.vc ? page.vc.label.text : ""
            font.pixelSize: 16
            wrapMode: Text.Wrap
        }
        RowLayout {
            Layout.alignment: Qt.AlignHCenter
            spacing: 8
            Repeater {
                model: page.vc ? page.vc.picker.components.length : 0
                Tumbler {
                    id: wheel
                    required property int index
                    objectName: "wheel" + index
                    model: page.vc.picker.components[index]
                    visibleItemCount: 5
                    wrap: false
                    implicitWidth: index === 3 ? 72 : 56
                    implicitHeight: 220
                    currentIndex: page.vc.picker.selectedRows[index]
                    // Only a turn by the user is stored.
                    onMovingChanged: if (!moving && currentIndex !== page.vc.picker.selectedRows[index])
                                         page.vc.picker.userSelect(currentIndex, index)
                    delegate: Label {
                        required property var modelData
                        required property int index
                        text: modelData
                        font.pixelSize: 26
                        horizontalAlignment: Text.AlignHCenter
                        verticalAlignment: Text.AlignVCenter
                        opacity: 1.0 - Math.abs(Tumbler.displacement) / (wheel.visibleItemCount / 2)
                    }
                }
            }
        }
        Item { Layout.fillHeight: true }
    }
}
