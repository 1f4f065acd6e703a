#pragma once

#include "PointFile.h"
#include "ScreenContext.h"
#include "files/ImportFolder.h"
#include "ui/UIKit.h"
#include "ui/UITableView.h"
#include "ui/UIViewController.h"

#include <QFutureWatcher>
#include <QPointer>
#include <QUrl>

#include <memory>

class AppDelegate;

// Adds the points of a file of the folder "markers" to the stored ones,
// optionally in place of them. Reading, parsing and storing run on a worker
// thread, and the store changes in one write once the whole file has been
// understood: a file that can't be read, or a cancelled import, leaves every
// stored point as it was. A file from elsewhere is first copied into the
// folder.
class ptpSettingsImport : public UIViewController {
    Q_OBJECT
    ScreenContext context_;  // first, so that every member after it may use it
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UISwitch* deleteAllPoints MEMBER deleteAllPoints CONSTANT)
    Q_PROPERTY(UITableView* tableView MEMBER tableView CONSTANT)
    Q_PROPERTY(UIButton* importBtn MEMBER importBtn CONSTANT)
    Q_PROPERTY(UIButton* cancelBtn MEMBER cancelBtn CONSTANT)
    Q_PROPERTY(UIView* importInfo MEMBER importInfo CONSTANT)
    Q_PROPERTY(UILabel* importInfoText MEMBER importInfoText CONSTANT)
    Q_PROPERTY(UILabel* pleaseWaitLbl MEMBER pleaseWaitLbl CONSTANT)
    Q_PROPERTY(UILabel* selectFileLbl MEMBER selectFileLbl CONSTANT)
    Q_PROPERTY(UILabel* clearDbLbl MEMBER clearDbLbl CONSTANT)
    Q_PROPERTY(UILabel* statusLbl MEMBER statusLbl CONSTANT)
    Q_PROPERTY(ImportFolder* folder READ folder CONSTANT)
    Q_PROPERTY(int selectedFile READ selectedFileRow NOTIFY selectedFileChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    Q_PROPERTY(double progress READ progress NOTIFY progressChanged)

public:
    explicit ptpSettingsImport(const ScreenContext& context, QObject* parent = nullptr);
    ~ptpSettingsImport() override;

    void viewDidLoad() override;

    // The import button ("importPoints:"): one import per tap, none while
    // one runs.
    Q_INVOKABLE void importPoints();
    // Stops a running import; the store stays as it was.
    Q_INVOKABLE void cancelImport();
    // A file chosen in the platform's dialog: copied into the folder, then
    // listed and chosen.
    Q_INVOKABLE void copyFileIntoFolder(const QUrl& file);

    struct Outcome {
        bool ok = false;
        bool cancelled = false;
        QString error;      // for the user, when neither
        qsizetype count = 0;
    };
    // The whole import of one file, as the worker runs it: read, parse, then
    // one write that empties the store first if asked. `wake` is called
    // whenever `job` moved on.
    static Outcome importFile(RealmConfiguration& realm, const QString& path, bool clearFirst, PointFile::Job& job,
                              const std::function<void()>& wake = {});

    int selectedFileRow() const { return int(selectedFile); }
    bool busy() const { return isImportingData; }
    // How far the storing is, 0 to 1; -1 while it can't be told.
    double progress() const { return progress_; }
    ImportFolder* folder() const { return folder_; }

    UISwitch* deleteAllPoints;
    UITableView* tableView;
    UIButton* importBtn;
    UIButton* cancelBtn;
    // The overlay that shows the progress, with its text.
    UIView* importInfo;
    UILabel* importInfoText;
    UILabel* pleaseWaitLbl;
    UILabel* selectFileLbl;
    UILabel* clearDbLbl;
    // What went wrong with the last file, for the user.
    UILabel* statusLbl;
    bool isImportingData = false;

private:
    ImportFolder* folder_;  // the list of "markers", which the two fields below show

public:
    const QList<QUrl>& files;
    const qint64& selectedFile;
    QPointer<AppDelegate> appDelegate;

signals:
    void selectedFileChanged();
    void busyChanged();
    void progressChanged();
    // The folder was listed (at load and after a copy).
    void filesListed();
    // An import ended: true when its points were stored.
    void importFinished(bool ok);
    void copyFinished(bool ok);

private:
    void setImporting(bool importing);
    void showProgress();
    void setProgress(double progress);

    double progress_ = -1.0;
    std::shared_ptr<PointFile::Job> job_;
    QFutureWatcher<Outcome>* watcher_;
};
