#pragma once

#include "ScreenContext.h"
#include "AzimuthFile.h"
#include "files/DocumentFolder.h"
#include "files/ImportFolder.h"
#include "store/Entities.h"
#include "ui/UIKit.h"
#include "ui/UITableView.h"
#include "ui/UIViewController.h"

#include <QFutureWatcher>
#include <QPointer>
#include <QUrl>

class AppDelegate;

// Reads azimuths from a file of the folder "azimuths", optionally after
// deleting the stored ones. A file from elsewhere is first copied into the
// folder. Disk work runs on a worker thread; the store is changed on the
// GUI thread once the file has been read and understood, so a file that
// can't be read leaves every stored azimuth as it was.
class AzimutImportVC : public UIViewController {
    Q_OBJECT
    ScreenContext context_;  // first, so that every member after it may use it
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UILabel* selectFileToImport MEMBER selectFileToImport CONSTANT)
    Q_PROPERTY(UIButton* importButtons MEMBER importButtons CONSTANT)
    Q_PROPERTY(UILabel* deleteAllBeforeImportLabel MEMBER deleteAllBeforeImportLabel CONSTANT)
    Q_PROPERTY(UISwitch* deleteAllAzimuths MEMBER deleteAllAzimuths CONSTANT)
    Q_PROPERTY(UITableView* tableView MEMBER tableView CONSTANT)
    Q_PROPERTY(UILabel* statusLbl MEMBER statusLbl CONSTANT)
    Q_PROPERTY(int selectedFile READ selectedFileRow NOTIFY selectedFileChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    Q_PROPERTY(ImportFolder* folder READ folder CONSTANT)

public:
    explicit AzimutImportVC(const ScreenContext& context, QObject* parent = nullptr);

    void viewDidLoad() override;

    // The button.
    Q_INVOKABLE void importAzimuths();
    // A file chosen in the platform's dialog: copied into the folder, then
    // listed and chosen.
    Q_INVOKABLE void copyFileIntoFolder(const QUrl& file);

    // Deletes every stored azimuth; false when the store refused.
    bool deleteAll();
    // Puts the azimuths of a read file into the store.
    void importContent(const AzimuthFile::Content& content);

    int selectedFileRow() const { return int(selectedFile); }
    bool busy() const { return busy_; }
    ImportFolder* folder() const { return folder_; }

    UILabel* selectFileToImport;
    UIButton* importButtons;
    UILabel* deleteAllBeforeImportLabel;
    UISwitch* deleteAllAzimuths;
    UITableView* tableView;
    // What went wrong with the last file, for the user.
    UILabel* statusLbl;

private:
    ImportFolder* folder_;  // the list of "azimuths", which the two fields below show

public:
    const QList<QUrl>& files;
    const qint64& selectedFile;
    QPointer<AppDelegate> appDelegate;

signals:
    void selectedFileChanged();
    void busyChanged();
    // The folder was listed (at load and after a copy).
    void filesListed();
    // An import ended: true when the file was read and its azimuths stored.
    void importFinished(bool ok);
    void copyFinished(bool ok);

private:
    struct ReadOutcome {
        std::optional<AzimuthFile::Content> content;
        QString error;
    };
    NSManagedObjectContext* context() const;
    void setBusy(bool busy);
    void fail(const QString& message);

    bool busy_ = false;
    QFutureWatcher<ReadOutcome>* readWatcher_;
};
