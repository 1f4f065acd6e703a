#pragma once

#include "ScreenContext.h"
#include "store/Entities.h"
#include "ui/UITableView.h"
#include "ui/UIViewController.h"

#include <QPointer>
#include <QStringList>

class AppDelegate;

// The control list of the azimuth map: where the lines start, the azimuths
// with a switch each (swipe to delete), adding, import and export, and two
// general settings.
class azimuthSettingsVC : public UIViewController, public UITableViewDataSource {
    Q_OBJECT
    ScreenContext context_;  // first, so that every member after it may use it
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UITableView* tableView READ tableView CONSTANT)

public:
    explicit azimuthSettingsVC(const ScreenContext& context, QObject* parent = nullptr);

    UITableView* tableView() const { return tableView_; }

    void viewDidLoad() override;
    void viewWillAppear(bool animated) override;
    void prepareForSegue(UIStoryboardSegue& segue, const QVariant& sender) override;

    int numberOfSections() const override;
    int numberOfRowsInSection(int section) const override;
    QString titleForHeaderInSection(int section) const override;
    UITableViewCell cellForRowAtIndexPath(int section, int row) const override;
    bool canEditRowAtIndexPath(int section, int row) const override;
    void didSelectRowAtIndexPath(int section, int row) override;
    void commitDeleteForRowAtIndexPath(int section, int row) override;
    void cellControlChanged(int section, int row, const QString& outlet, const QVariant& value) override;

    // Switch of a general setting: tag 0 is "Hide compass indicator".
    void switchChanged(int tag, bool isOn);
    // Switch of the azimuth at row `tag`: turns it on or off in the store.
    void azimuthStateChanged(int tag);
    void toggleUnits();

    QStringList OpisySekcji;
    QList<QStringList> OpisWpisow;
    QList<QStringList> OpisDeskryptorow;
    bool useGeocoder = false;
    bool hideCompassIndicator = false;
    bool useImperialUnits = false;
    QList<Azimuth*> azymuty;
    QPointer<AppDelegate> appDelegate;

private:
    NSManagedObjectContext* context() const;
    void fetchAzimuths();
    void setLocationDescriptor();

    UITableView* tableView_;
};
