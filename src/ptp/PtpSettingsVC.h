#pragma once

#include "PtpTypes.h"
#include "ScreenContext.h"
#include "store/Entities.h"
#include "ui/UITableView.h"
#include "ui/UIViewController.h"

#include <QPointer>
#include <QStringList>

class AppDelegate;

// The settings of point to point: where the from point and the target come
// from, the stored points (manage, import, export), the radius and order of
// the point lists, the compass needle and the distance units.
class PtpSettingsVC : public UIViewController, public UITableViewDataSource {
    Q_OBJECT
    ScreenContext context_;  // first, so that every member after it may use it
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UITableView* tableView READ tableView CONSTANT)

public:
    explicit PtpSettingsVC(const ScreenContext& context, QObject* parent = nullptr);

    UITableView* tableView() const { return tableView_; }

    void viewDidLoad() override;
    void viewDidAppear(bool animated) override;
    void prepareForSegue(UIStoryboardSegue& segue, const QVariant& sender) override;

    int numberOfSections() const override;
    int numberOfRowsInSection(int section) const override;
    QString titleForHeaderInSection(int section) const override;
    UITableViewCell cellForRowAtIndexPath(int section, int row) const override;
    void didSelectRowAtIndexPath(int section, int row) override;
    void cellControlChanged(int section, int row, const QString& outlet, const QVariant& value) override;

    // The switch of "hide compass indicator" (tag 0): writes the setting only.
    void switchChanged(int tag, bool isOn);
    void updateLocationDescriptions();
    void updateDistanceDescriptions();
    // Reads "ptpListSortBy" into the order and its text; returns the value,
    // or -1 (fields unchanged) outside 0 to 3.
    int updateSortDescription();

    QStringList OpisySekcji;
    QList<QStringList> OpisWpisow;
    QList<QStringList> OpisDeskryptorow;
    bool useGeocoder = false;
    bool toUseGeocoder = false;  // never written: the target's row always reads "manual"
    bool hideCompassIndicator = false;
    bool useImperialUnits = false;
    double maxDistance = 10.0;
    QList<Azimuth*> azymuty;
    sortBy ptpSortBy = sortBy::distance_asc;
    QString ptpSortDesc;
    QPointer<AppDelegate> appDelegate;

private:
    void cycleSortOrder();
    void toggleUnits();

    UITableView* tableView_;
};
