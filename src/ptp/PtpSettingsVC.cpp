#include "PtpSettingsVC.h"

#include "AppDelegate.h"
#include "PtpSettingsMap.h"
#include "ptpSettingsList.h"
#include "settings/Units.h"
#include "settings/UserDefaults.h"
#include "ui/UITabBarController.h"

namespace {

// "ptpListSortBy": the order, its text, and the value a tap moves on to.
struct SortStep {
    sortBy order;
    const char* text;
    int next;
};
const SortStep kSortSteps[] = {
    {sortBy::distance_asc, QT_TRANSLATE_NOOP("PtpSettingsVC", "distance ↓"), 1},
    {sortBy::distance_desc, QT_TRANSLATE_NOOP("PtpSettingsVC", "distance ↑"), 2},
    {sortBy::name_asc, QT_TRANSLATE_NOOP("PtpSettingsVC", "name ↓"), 3},
    {sortBy::name_desc, QT_TRANSLATE_NOOP("PtpSettingsVC", "name ↑"), 0},
};

}  // namespace

PtpSettingsVC::PtpSettingsVC(const ScreenContext& context, QObject* parent)
    : UIViewController(parent), context_(context), tableView_(new UITableView(this)) {
    OpisySekcji = {tr("Location"), tr("Database"), tr("General settings")};
    // "import" and "export" are plain texts, not localised.
    OpisWpisow = {{tr("from"), tr("to")},
                  {tr("manage"), QStringLiteral("import"), QStringLiteral("export"), tr("maximum distance"),
                   tr("sort by")},
                  {tr("hide compass indicator"), tr("distance units")}};
    OpisDeskryptorow = {{tr("automatic (GPS)"), tr("manual")},
                        {QString(), QString(), QString(), QStringLiteral("10 km"), QStringLiteral("distance")},
                        {QString(), QStringLiteral("km"), QString(), QString()}};
    appDelegate = context.appDelegate;
}

void PtpSettingsVC::viewDidLoad() {
    forceLightStyle();
    UserDefaults& defaults = *context_.defaults;
    hideCompassIndicator = defaults.boolForKey(SettingsKey::hideCompassIndicator);
    useImperialUnits = defaults.boolForKey(SettingsKey::useImperialUnits);
    updateSortDescription();
    OpisDeskryptorow[1][4] = ptpSortDesc;
    // The radius of the point lists comes into being here.
    if (defaults.doubleForKey(SettingsKey::maxDistance) == 0.0) defaults.setDouble(10.0, SettingsKey::maxDistance);
    maxDistance = defaults.doubleForKey(SettingsKey::maxDistance);
    updateLocationDescriptions();
    updateDistanceDescriptions();
    tableView_->setDataSource(this);
    setTitle(tr("settings"));
    if (appDelegate)
        if (NSManagedObjectContext* c = appDelegate->persistentContainer()->viewContext())
            if (const auto fetched = c->fetchAllOrLog<Azimuth>()) azymuty = *fetched;
    tableView_->reloadData();
}

void PtpSettingsVC::viewDidAppear(bool) {
    const UserDefaults& defaults = *context_.defaults;
    maxDistance = defaults.doubleForKey(SettingsKey::maxDistance);
    useImperialUnits = defaults.boolForKey(SettingsKey::useImperialUnits);
    updateDistanceDescriptions();
    updateLocationDescriptions();
    tableView_->reloadData();
}

void PtpSettingsVC::updateLocationDescriptions() {
    useGeocoder = context_.defaults->boolForKey(SettingsKey::useGeocoder);
    OpisDeskryptorow[0][0] = useGeocoder ? tr("manual") : tr("automatic (GPS)");
    OpisDeskryptorow[0][1] = toUseGeocoder ? tr("automatic (GPS)") : tr("manual");
}

void PtpSettingsVC::updateDistanceDescriptions() {
    OpisDeskryptorow[2][1] = useImperialUnits ? QStringLiteral("mi") : QStringLiteral("km");
    OpisDeskryptorow[1][3] = useImperialUnits ? Format::printf("%.0f mi", maxDistance * Units::kmToMilesPtp)
                                              : Format::printf("%.0f km", maxDistance);
}

int PtpSettingsVC::updateSortDescription() {
    const qint64 value = context_.defaults->integerForKey(SettingsKey::ptpListSortBy);
    if (value < 0 || value > 3) return -1;
    ptpSortBy = kSortSteps[value].order;
    ptpSortDesc = tr(kSortSteps[value].text);
    return int(value);
}

void PtpSettingsVC::cycleSortOrder() {
    const int value = updateSortDescription();
    if (value >= 0) {
        const int next = kSortSteps[value].next;
        context_.defaults->setInteger(next, SettingsKey::ptpListSortBy);
        ptpSortDesc = tr(kSortSteps[next].text);
    }
    OpisDeskryptorow[1][4] = ptpSortDesc;
    tableView_->reloadData();
}

void PtpSettingsVC::toggleUnits() {
    useImperialUnits = !useImperialUnits;
    context_.defaults->setBool(useImperialUnits, SettingsKey::useImperialUnits);
    updateDistanceDescriptions();
    tableView_->reloadData();
}

void PtpSettingsVC::switchChanged(int tag, bool isOn) {
    if (tag == 0) context_.defaults->setBool(isOn, SettingsKey::hideCompassIndicator);
}

void PtpSettingsVC::prepareForSegue(UIStoryboardSegue& segue, const QVariant& sender) {
    if (segue.identifier != QLatin1String("ptpLocation")) return;
    auto* tabs = qobject_cast<UITabBarController*>(segue.destinationViewController);
    if (!tabs) return;
    const QString which = sender.toString();
    if (which != QLatin1String("from") && which != QLatin1String("to")) return;
    const pointType type = which == QLatin1String("from") ? pointType::from : pointType::to;
    for (UIViewController* tab : tabs->viewControllers())
        if (auto* map = qobject_cast<PtpSettingsMap*>(tab))
            map->type = type;
        else if (auto* list = qobject_cast<ptpSettingsList*>(tab))
            list->type = type;
}

int PtpSettingsVC::numberOfSections() const { return int(OpisySekcji.size()); }

int PtpSettingsVC::numberOfRowsInSection(int section) const { return int(OpisWpisow.value(section).size()); }

QString PtpSettingsVC::titleForHeaderInSection(int section) const { return OpisySekcji.value(section); }

UITableViewCell PtpSettingsVC::cellForRowAtIndexPath(int section, int row) const {
    const QString title = OpisWpisow.value(section).value(row);
    if (section == 2 && row == 0)
        return {QStringLiteral("settingsCellTypeII"),
                {{"settingName", title}, {"settingState", hideCompassIndicator}, {"tag", row}}};
    return {QStringLiteral("settingsCellTypeI"),
            {{"settingName", title}, {"descriptionName", OpisDeskryptorow.value(section).value(row)}}};
}

void PtpSettingsVC::didSelectRowAtIndexPath(int section, int row) {
    struct Step {
        int section, row;
        const char* segue;
        const char* sender;
    };
    static const Step steps[] = {
        {0, 0, "ptpLocation", "from"},          {0, 1, "ptpLocation", "to"},
        {1, 0, "PtpSettingsManageVC", "1"},     {1, 1, "ptpSettingsImport", "xxx"},
        {1, 2, "ptpMarkersExport", "xxx"},      {1, 3, "ptpSettingsMaxDistance", "1"},
    };
    for (const Step& s : steps)
        if (s.section == section && s.row == row) {
            performSegueWithIdentifier(QString::fromLatin1(s.segue), QString::fromLatin1(s.sender));
            return;
        }
    if (section == 1 && row == 4) cycleSortOrder();
    else if (section == 2 && row == 1) toggleUnits();
}

void PtpSettingsVC::cellControlChanged(int section, int row, const QString& outlet, const QVariant& value) {
    if (section == 2 && outlet == QLatin1String("settingState")) switchChanged(row, value.toBool());
}
