#include "azimuthSettingsVC.h"

#include "AppDelegate.h"
#include "NewAzimuthVC.h"
#include "settings/Units.h"
#include "settings/UserDefaults.h"

#include <QDebug>

azimuthSettingsVC::azimuthSettingsVC(const ScreenContext& context, QObject* parent) : UIViewController(parent), context_(context), tableView_(new UITableView(this)) {
    OpisySekcji = {tr("Location"), tr("Azimuths"), tr("General settings")};
    OpisWpisow = {{tr("Location")}, {}, {tr("Hide compass indicator"), tr("Distance units")}};
    OpisDeskryptorow = {{tr("automatic (GPS)")}, {}, {QString(), QStringLiteral("km"), QString(), QString()}};
    appDelegate = context.appDelegate;
}

NSManagedObjectContext* azimuthSettingsVC::context() const {
    if (!appDelegate) return nullptr;
    return appDelegate->persistentContainer()->viewContext();
}

void azimuthSettingsVC::setLocationDescriptor() {
    OpisDeskryptorow[0][0] = useGeocoder ? tr("manual") : tr("automatic (GPS)");
}

void azimuthSettingsVC::fetchAzimuths() {
    NSManagedObjectContext* c = context();
    if (!c) return;
    const auto fetched = c->fetchAllOrLog<Azimuth>();
    if (!fetched) return;
    azymuty = *fetched;
}

void azimuthSettingsVC::viewDidLoad() {
    forceLightStyle();
    UserDefaults& defaults = *context_.defaults;
    useGeocoder = defaults.boolForKey(SettingsKey::useGeocoder);
    hideCompassIndicator = defaults.boolForKey(SettingsKey::hideCompassIndicator);
    useImperialUnits = defaults.boolForKey(SettingsKey::useImperialUnits);
    setLocationDescriptor();
    OpisDeskryptorow[2][1] = useImperialUnits ? QStringLiteral("mi") : QStringLiteral("km");
    setTitle(tr("settings"));
    fetchAzimuths();
    tableView_->setDataSource(this);
}

void azimuthSettingsVC::viewWillAppear(bool) {
    useGeocoder = (*context_.defaults).boolForKey(SettingsKey::useGeocoder);
    setLocationDescriptor();
    fetchAzimuths();
    tableView_->reloadData();
}

void azimuthSettingsVC::prepareForSegue(UIStoryboardSegue& segue, const QVariant& sender) {
    auto* editor = qobject_cast<NewAzimuthVC*>(segue.destinationViewController);
    if (!editor) return;
    // "1" marks a step without an object: a new azimuth.
    if (sender.typeId() == QMetaType::QString && sender.toString() != QLatin1String("1"))
        editor->uuid = sender.toString();
}

int azimuthSettingsVC::numberOfSections() const { return int(OpisySekcji.size()); }

int azimuthSettingsVC::numberOfRowsInSection(int section) const {
    if (section == 1) return int(azymuty.size()) + 3;
    return int(OpisWpisow.value(section).size());
}

QString azimuthSettingsVC::titleForHeaderInSection(int section) const { return OpisySekcji.value(section); }

UITableViewCell azimuthSettingsVC::cellForRowAtIndexPath(int section, int row) const {
    const int n = int(azymuty.size());
    if (section == 1) {
        if (row < n) {
            const Azimuth* o = azymuty.at(row);
            return {QStringLiteral("settingsCellTypeIII"),
                    {{"labelColor", Palette::fromComponents(o->colorRed(), o->colorGreen(), o->colorBlue())},
                     {"labelName", Format::azimuthRow(o->azimuth(), o->distance(), useImperialUnits, o->desc())},
                     {"setEnabled", o->isActive()},
                     {"tag", row}}};
        }
        // "import" and "export" are plain texts, not localised.
        const int action = row - n;
        const QString title = action == 0   ? tr("add new azimuth")
                              : action == 1 ? QStringLiteral("import")
                                            : QStringLiteral("export");
        return {QStringLiteral("settingsCellTypeIV"), {{"label", title}}};
    }
    const QString title = OpisWpisow.value(section).value(row);
    if (section == 2 && row == 0)
        return {QStringLiteral("settingsCellTypeII"),
                {{"settingName", title}, {"settingState", hideCompassIndicator}, {"tag", row}}};
    return {QStringLiteral("settingsCellTypeI"),
            {{"settingName", title}, {"descriptionName", OpisDeskryptorow.value(section).value(row)}}};
}

bool azimuthSettingsVC::canEditRowAtIndexPath(int section, int row) const {
    return section == 1 && row < azymuty.size();
}

void azimuthSettingsVC::didSelectRowAtIndexPath(int section, int row) {
    const QString one = QStringLiteral("1");
    const int n = int(azymuty.size());
    if (section == 0) {
        performSegueWithIdentifier(QStringLiteral("changeLocation"), one);
    } else if (section == 1) {
        if (row < n) {
            const QString id = azymuty.at(row)->id();
            performSegueWithIdentifier(QStringLiteral("newAzimuth"), id.isNull() ? QVariant() : QVariant(id));
        } else if (row == n) {
            performSegueWithIdentifier(QStringLiteral("newAzimuth"), one);
        } else if (row == n + 1) {
            performSegueWithIdentifier(QStringLiteral("importAzimuths"), one);
        } else if (row == n + 2) {
            performSegueWithIdentifier(QStringLiteral("exportAzimuths"), one);
        }
    } else if (section == 2 && row == 1) {
        toggleUnits();
    }
}

void azimuthSettingsVC::toggleUnits() {
    useImperialUnits = !useImperialUnits;
    (*context_.defaults).setBool(useImperialUnits, SettingsKey::useImperialUnits);
    OpisDeskryptorow[2][1] = useImperialUnits ? QStringLiteral("mi") : QStringLiteral("km");
    tableView_->reloadData();
}

void azimuthSettingsVC::cellControlChanged(int section, int row, const QString& outlet, const QVariant& value) {
    if (section == 1 && outlet == QLatin1String("setEnabled"))
        azimuthStateChanged(row);
    else if (section == 2 && outlet == QLatin1String("settingState"))
        switchChanged(row, value.toBool());
}

void azimuthSettingsVC::switchChanged(int tag, bool isOn) {
    if (tag != 0) return;
    hideCompassIndicator = isOn;
    (*context_.defaults).setBool(isOn, SettingsKey::hideCompassIndicator);
}

void azimuthSettingsVC::azimuthStateChanged(int tag) {
    NSManagedObjectContext* c = context();
    if (!c || tag < 0 || tag >= azymuty.size()) return;
    const Azimuth* shown = azymuty.at(tag);
    QString error;
    const QList<Azimuth*> found = c->fetchWithId<Azimuth>(shown->id(), 0, &error);
    if (!error.isEmpty()) {
        qDebug().noquote() << "could not fetch: " + error;
        return;
    }
    if (found.isEmpty()) return;
    found.first()->setIsActive(!shown->isActive());
    if (!c->save(&error)) qDebug().noquote() << "could not save: " + error;
}

void azimuthSettingsVC::commitDeleteForRowAtIndexPath(int section, int row) {
    NSManagedObjectContext* c = context();
    if (!c || section != 1 || row < 0 || row >= azymuty.size()) return;
    c->deleteObject(azymuty.at(row));
    QString error;
    if (!c->save(&error)) qDebug().noquote() << "could not remove: " + error;
    fetchAzimuths();
    tableView_->reloadData();
}
