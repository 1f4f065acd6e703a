#include "SettingsVC.h"

#include <QCoreApplication>

SettingsVC::SettingsVC(QObject* parent) : UIViewController(parent), tableView_(new UITableView(this)) {
    OpisySekcji = {tr("settings"), tr("general")};
    OpisWpisow = {{tr("azimuth"), tr("point to point"), tr("validation")}, {tr("version"), tr("help")}};
    DescWpisow = {{QString(), QString(), QString()}, {QStringLiteral("2.0.0"), QString()}};
}

void SettingsVC::viewDidLoad() {
    setTitle(tr("settings"));
    tableView_->setDataSource(this);
}

QString SettingsVC::bundleVersion() {
    const QString v = QCoreApplication::applicationVersion();
    return v.isEmpty() ? QStringLiteral("1.0.0-alpha") : v;
}

int SettingsVC::numberOfSections() const { return int(OpisySekcji.size()); }
int SettingsVC::numberOfRowsInSection(int section) const { return int(OpisWpisow.value(section).size()); }
QString SettingsVC::titleForHeaderInSection(int section) const { return OpisySekcji.value(section); }

UITableViewCell SettingsVC::cellForRowAtIndexPath(int section, int row) const {
    const QString title = OpisWpisow.value(section).value(row);
    if (section == 1 && row == 0)
        return {QStringLiteral("settings_table_cell_dual"), {{"label", title}, {"desc", bundleVersion()}}};
    return {QStringLiteral("settings_table_cell"), {{"label", title}}};
}

void SettingsVC::didSelectRowAtIndexPath(int section, int row) {
    if (section == 0) {
        static const char* segues[] = {"azimuth_settings", "ptp_settings", "validation_settings"};
        if (row >= 0 && row < 3) performSegueWithIdentifier(QString::fromLatin1(segues[row]));
    } else if (section == 1 && row == 1) {
        performSegueWithIdentifier(QStringLiteral("help"));
    }
}
