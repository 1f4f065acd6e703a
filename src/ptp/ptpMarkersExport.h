#pragma once

#include "PointFile.h"
#include "ScreenContext.h"
#include "files/DocumentFolder.h"
#include "ui/UIKit.h"
#include "ui/UIViewController.h"

#include <QFutureWatcher>
#include <QPointer>

#include <memory>

class AppDelegate;

// Writes every stored point to "markers/<name>.json", or, when that file
// exists, to "azimuths/<name>_<date>.json". The text is built and written on
// a worker thread from its own read of the store; the screen tells where the
// file went, or why it couldn't be written (and then stays).
class ptpMarkersExport : public UIViewController {
    Q_OBJECT
    ScreenContext context_;  // first, so that every member after it may use it
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UILabel* titleTXT MEMBER titleTXT CONSTANT)
    Q_PROPERTY(UITextField* filename MEMBER filename CONSTANT)
    Q_PROPERTY(UILabel* statusLabel MEMBER statusLabel CONSTANT)
    Q_PROPERTY(UILabel* filenameLbl MEMBER filenameLbl CONSTANT)
    Q_PROPERTY(UILabel* exportTitleLbl MEMBER exportTitleLbl CONSTANT)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)

public:
    explicit ptpMarkersExport(const ScreenContext& context, QObject* parent = nullptr);

    void viewDidLoad() override;

    // The export button ("export:"); nothing while an export runs.
    Q_INVOKABLE void exportPoints();

    struct Outcome {
        DocumentFolder::WriteResult write;
        qsizetype count = 0;
    };
    // The whole export as the worker runs it: read the store, build the text
    // (telling `job` of every tenth record and calling `wake`), write it.
    static Outcome exportFile(RealmConfiguration* realm, const QString& first, const QString& second,
                              PointFile::Job& job, const std::function<void()>& wake = {});

    bool busy() const { return busy_; }

    // The count, the progress, then "done".
    UILabel* titleTXT;
    UITextField* filename;
    // Where the file went, or why it didn't.
    UILabel* statusLabel;
    UILabel* filenameLbl;
    UILabel* exportTitleLbl;
    QPointer<AppDelegate> appDelegate;

signals:
    void busyChanged();
    // The store was counted for the status line.
    void counted(qsizetype count);
    // The write ended; path is the file written (or tried).
    void exportFinished(bool ok, const QString& path);

private:
    void showProgress();
    void setBusy(bool busy);

    bool busy_ = false;
    std::shared_ptr<PointFile::Job> job_;
    QFutureWatcher<qsizetype>* countWatcher_;
    QFutureWatcher<Outcome>* watcher_;
};
