import QtQuick
import QtQuick.Controls
import Zenloft.Shell

// A table of a screen: section headers, one delegate per cell class, and the
// swipe action "DELETE" on rows the screen lets go.
ListView {
    id: list
    property UITableView table
    // Cell classes the page adds itself: { "cellClass": Component }.
    property var extraCells: ({})

    model: table
    clip: true
    boundsBehavior: Flickable.StopAtBounds
    section.property: "sectionKey"
    section.criteria: ViewSection.FullString
    section.delegate: SectionHeader {
        required property string section
        text: section.substring(section.indexOf("|") + 1)
        // ListView shows every section header: one without a title takes
        // no room instead.
        height: text.length > 0 ? 40 : 0
        visible: height > 0
    }
    ScrollIndicator.vertical: ScrollIndicator { }

    delegate: TableRow {
        table: list.table
        extraCells: list.extraCells
    }
}
