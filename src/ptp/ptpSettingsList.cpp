#include "ptpSettingsList.h"

#include "AppDelegate.h"
#include "LocationManager.h"
#include "LocationServices.h"
#include "settings/Units.h"
#include "settings/UserDefaults.h"
#include "store/Realm.h"

#include <QDebug>
#include <QFutureWatcher>
#include <QtConcurrent>

#include <utility>

// ---- PointListScreen

PointListScreen::PointListScreen(const ScreenContext& context, QObject* parent)
    : UIViewController(parent), context_(context),
      searchBar(new UITextField(this)),
      tableView(new UITableView(this)),
      manager(new LocationManager(context_.location, this)) {
    connect(manager, &LocationManager::didUpdateLocations, this, &PointListScreen::didUpdateLocations);
    connect(searchBar, &UITextField::editingChanged, this, [this] { searchBarTextDidChange(searchBar->text()); });
    connect(searchBar, &UITextField::editingDidEnd, this, &PointListScreen::searchBarSearchButtonClicked);

    // Reading the store the first time touches the disk: not on this thread.
    RealmConfiguration* config = context_.realm;
    if (!config) return;
    using Opened = std::pair<std::shared_ptr<Realm>, QString>;
    auto* watcher = new QFutureWatcher<Opened>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher] {
        const Opened opened = watcher->result();
        watcher->deleteLater();
        storeOpened(opened.first, opened.second);
    });
    watcher->setFuture(QtConcurrent::run([config] {
        QString error;
        auto opened = config->open(&error);
        return Opened(std::move(opened), error);
    }));
}

void PointListScreen::storeOpened(std::shared_ptr<Realm> opened, const QString& error) {
    if (!opened) {
        // The list stays empty and the store file as it is.
        qDebug().noquote() << "could not fetch: " + error;
        if (context_.appDelegate) context_.appDelegate->reportProblem(error);
        return;
    }
    realm = std::move(opened);
    if (std::exchange(loadWanted_, false)) loadPoints();
}

void PointListScreen::locateAndLoad() {
    const UserDefaults& defaults = *context_.defaults;
    useGeocoder = defaults.boolForKey(SettingsKey::useGeocoder);
    maxDistance = defaults.doubleForKey(SettingsKey::maxDistance);
    if (useGeocoder) {
        latitude = defaults.doubleForKey(SettingsKey::latitude);
        longitude = defaults.doubleForKey(SettingsKey::longitude);
        loadPoints();
    } else if (const auto fix = manager->location()) {
        latitude = fix->coordinate.latitude;
        longitude = fix->coordinate.longitude;
        loadPoints();
    } else {
        manager->requestLocation();
    }
}

void PointListScreen::didUpdateLocations(const QList<CLLocation>& locations) {
    if (locations.isEmpty()) return;
    const CLLocation& found = locations.first();
    qDebug().noquote() << Format::printf("Found user's location: <%+.8f,%+.8f>", found.coordinate.latitude,
                                         found.coordinate.longitude);
    latitude = found.coordinate.latitude;
    longitude = found.coordinate.longitude;
    loadPoints();
}

void PointListScreen::loadPoints() {
    if (!realm) {
        loadWanted_ = true;
        return;
    }
    willLoad();
    const qint64 order = context_.defaults->integerForKey(SettingsKey::ptpListSortBy);
    if (entries.isEmpty()) {
        entries = PointList::load(realm->points().toList(), latitude, longitude, maxDistance, order);
    } else {
        PointList::appendWithin(entries, realm->points().toList(), latitude, longitude, maxDistance);
        PointList::sortEntries(entries, order);
    }
    filtred = entries;
    entriesChanged();
    didLoad();
    tableView->reloadData();
}

int PointListScreen::numberOfRowsInSection(int) const { return int(filtred.size()); }

UITableViewCell PointListScreen::cellForRowAtIndexPath(int, int row) const {
    const dbEntries& e = filtred.at(row);
    return {QStringLiteral("listCell"),
            {{QStringLiteral("name"), PointList::rowText(e)},
             {QStringLiteral("desc"), e.desc},
             {QStringLiteral("colorIndicator"), Palette::fromComponents(e.markerRed, e.markerGreen, e.markerBlue)}}};
}

void PointListScreen::searchBarTextDidChange(const QString& text) { applySearch(text); }

void PointListScreen::entriesChanged() { searchText_ = PointList::SearchText(entries); }

void PointListScreen::applySearch(const QString& text) {
    filtred = searchText_.search(entries, text);
    tableView->reloadData();
}

void PointListScreen::searchBarSearchButtonClicked() { emit endEditing(); }

// ---- ptpSettingsList

ptpSettingsList::ptpSettingsList(const ScreenContext& context, QObject* parent)
    : PointListScreen(context, parent), labelBottomLbl(new UILabel(this)) {
    labelBottomLbl->setText(tr("No stored point within the maximum distance"));
    connect(manager, &LocationManager::didFailWithError, this, &ptpSettingsList::didFailWithError);
}

void ptpSettingsList::viewDidLoad() {
    forceLightStyle();
    tableView->setDataSource(this);
    locateAndLoad();
}

void ptpSettingsList::didLoad() {
    if (!entries.isEmpty()) labelBottomLbl->setHidden(true);
}

void ptpSettingsList::didFailWithError(const CLError& error) {
    qDebug().noquote() << "Failed to find user's location: " + error.localizedDescription;
}

void ptpSettingsList::didSelectRowAtIndexPath(int, int row) {
    if (row < 0 || row >= filtred.size()) return;
    const dbEntries& point = filtred.at(row);
    UserDefaults& defaults = *context_.defaults;
    // A from point takes the target's name and description too: the work
    // screen shows them until a target is chosen again.
    if (type == pointType::to) {
        defaults.setDouble(point.latitude, SettingsKey::toLatitude);
        defaults.setDouble(point.longitude, SettingsKey::toLongitude);
    } else {
        defaults.setDouble(point.latitude, SettingsKey::latitude);
        defaults.setDouble(point.longitude, SettingsKey::longitude);
    }
    defaults.setObject(point.name, SettingsKey::toName);
    defaults.setObject(point.desc, SettingsKey::toDesc);
}
