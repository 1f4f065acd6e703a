#pragma once

#include "ui/UITableView.h"
#include "ui/UIViewController.h"

#include <QStringList>

// The general settings: links to the three work areas' settings, the
// version and the help page.
class SettingsVC : public UIViewController, public UITableViewDataSource {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UITableView* tableView READ tableView CONSTANT)

public:
    explicit SettingsVC(QObject* parent = nullptr);

    void viewDidLoad() override;
    UITableView* tableView() const { return tableView_; }

    QStringList OpisySekcji;
    QList<QStringList> OpisWpisow;
    QList<QStringList> DescWpisow;

    // The version shown: the application's, or "1.0.0-alpha" when it has none.
    static QString bundleVersion();

    int numberOfSections() const override;
    int numberOfRowsInSection(int section) const override;
    QString titleForHeaderInSection(int section) const override;
    UITableViewCell cellForRowAtIndexPath(int section, int row) const override;
    void didSelectRowAtIndexPath(int section, int row) override;

private:
    UITableView* tableView_;
};
