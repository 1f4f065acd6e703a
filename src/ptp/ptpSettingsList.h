#pragma once

#include "CLLocation.h"
#include "PointList.h"
#include "PtpTypes.h"
#include "ScreenContext.h"
#include "ui/UIKit.h"
#include "ui/UITableView.h"
#include "ui/UIViewController.h"

#include <QList>

#include <memory>

class LocationManager;
class Realm;

// What the chooser and the management list share: the stored points near a
// reference point (the manual from point, else the device's position) as
// "listCell" rows, and the search over them. The store is opened on a
// worker; a load asked for before it is open runs once it is.
class PointListScreen : public UIViewController, public UITableViewDataSource {
    Q_OBJECT
    QML_ANONYMOUS
    Q_PROPERTY(UITextField* searchBar MEMBER searchBar CONSTANT)
    Q_PROPERTY(UITableView* tableView MEMBER tableView CONSTANT)

protected:
    ScreenContext context_;  // first, so that every member after it may use it
    PointListScreen(const ScreenContext& context, QObject* parent);

public:
    int numberOfRowsInSection(int section) const override;
    UITableViewCell cellForRowAtIndexPath(int section, int row) const override;

    // The search bar: every change of the text, and its search key.
    void searchBarTextDidChange(const QString& text);
    void searchBarSearchButtonClicked();
    void applySearch(const QString& text);

    // Measures every stored point, keeps those within the radius, sorts
    // them by "ptpListSortBy" and shows them. Appends to entries.
    void loadPoints();

    UITextField* searchBar;
    UITableView* tableView;
    double maxDistance = 10.0;
    sortBy sort = sortBy::distance_asc;  // the order comes from the setting
    double latitude = 54.0;
    double longitude = 19.0;
    QList<dbEntries> entries;
    QList<dbEntries> filtred;
    bool useGeocoder = true;
    std::shared_ptr<Realm> realm;  // null until the store is open
    LocationManager* manager;
    pointType type = pointType::from;

signals:
    // The keyboard should close.
    void endEditing();

protected:
    // Reads "useGeocoder" and "maxDistance", takes the reference point and
    // loads; without one, asks for one fix and loads when it comes.
    void locateAndLoad();
    // Runs before every load (the management list starts afresh).
    virtual void willLoad() {}
    // Runs after every load.
    virtual void didLoad() {}
    // After every change of entries: the search follows them.
    void entriesChanged();

private:
    void didUpdateLocations(const QList<CLLocation>& locations);
    void storeOpened(std::shared_ptr<Realm> opened, const QString& error);

    bool loadWanted_ = false;
    PointList::SearchText searchText_;
};

// The point list tab of the location container: picks a stored point as
// the from point or as the target, by `type`. One load per screen.
class ptpSettingsList : public PointListScreen {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UILabel* labelBottomLbl MEMBER labelBottomLbl CONSTANT)

public:
    explicit ptpSettingsList(const ScreenContext& context, QObject* parent = nullptr);

    void viewDidLoad() override;
    void didSelectRowAtIndexPath(int section, int row) override;
    void didFailWithError(const CLError& error);

    UILabel* labelBottomLbl;

protected:
    void didLoad() override;
};
