#pragma once

#include "ScreenContext.h"
#include "files/DocumentFolder.h"
#include "store/Entities.h"
#include "ui/UIKit.h"
#include "ui/UIViewController.h"

#include <QFutureWatcher>
#include <QPointer>

class AppDelegate;

// Writes every azimuth, with the manual position, to a file of the folder
// "azimuths". The text is built on the GUI thread from the objects fetched
// when the screen loaded; the file is written on a worker thread.
class AzimuthExportVC : public UIViewController {
    Q_OBJECT
    ScreenContext context_;  // first, so that every member after it may use it
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UILabel* filenameLbl MEMBER filenameLbl CONSTANT)
    Q_PROPERTY(UITextField* filename MEMBER filename CONSTANT)
    Q_PROPERTY(UILabel* exportTitleLbl MEMBER exportTitleLbl CONSTANT)
    Q_PROPERTY(UILabel* statusLbl MEMBER statusLbl CONSTANT)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)

public:
    explicit AzimuthExportVC(const ScreenContext& context, QObject* parent = nullptr);

    void viewDidLoad() override;

    Q_INVOKABLE void exportAzimuths();  // the button ("export:")
    QByteArray exportText() const;

    bool busy() const { return busy_; }

    UILabel* filenameLbl;
    UITextField* filename;
    UILabel* exportTitleLbl;
    // Where the file went, or why it didn't.
    UILabel* statusLbl;
    QList<Azimuth*> azymuty;
    QPointer<AppDelegate> appDelegate;

signals:
    void busyChanged();
    // The write ended; path is the file written (or tried).
    void exportFinished(bool ok, const QString& path);

private:
    bool busy_ = false;
    QFutureWatcher<DocumentFolder::WriteResult>* watcher_;
};
