#include "ptpSettingsManageVC.h"

#include "screens/validationAddMarkerVC.h"
#include "store/Realm.h"

#include <algorithm>

ptpSettingsManageVC::ptpSettingsManageVC(const ScreenContext& context, QObject* parent)
    : PointListScreen(context, parent) {}

void ptpSettingsManageVC::viewDidLoad() {
    forceLightStyle();
    setTitle(tr("markers"));
    tableView->setDataSource(this);
}

void ptpSettingsManageVC::viewWillAppear(bool) {
    locateAndLoad();
    tableView->reloadData();
}

void ptpSettingsManageVC::prepareForSegue(UIStoryboardSegue& segue, const QVariant& sender) {
    if (auto* editor = qobject_cast<validationAddMarkerVC*>(segue.destinationViewController))
        fillEditor(*editor, sender);
}

void ptpSettingsManageVC::addPoint() { performSegueWithIdentifier(QStringLiteral("addPoint"), QStringLiteral("add")); }

void ptpSettingsManageVC::didSelectRowAtIndexPath(int, int row) {
    performSegueWithIdentifier(QStringLiteral("addPoint"), row);
}

void ptpSettingsManageVC::commitDeleteForRowAtIndexPath(int, int row) {
    if (row < 0 || row >= filtred.size() || !context_.realm) return;
    const QString id = filtred.at(row).id;
    if (!realm_ptp::deletePoint(*context_.realm, id)) {
        // No single record of that id (two share it, or it went elsewhere):
        // show the store as it is now rather than a row it doesn't hold.
        loadPoints();
        return;
    }
    const auto hit = std::find_if(entries.begin(), entries.end(), [&](const dbEntries& e) { return e.id == id; });
    if (hit != entries.end()) {
        entries.erase(hit);
        filtred.removeAt(row);
        entriesChanged();
    }
    tableView->reloadData();
}
