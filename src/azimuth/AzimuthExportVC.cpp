#include "AzimuthExportVC.h"

#include "AppDelegate.h"
#include "AzimuthFile.h"
#include "Clock.h"
#include "settings/UserDefaults.h"

#include <QDebug>
#include <QtConcurrent/QtConcurrentRun>

AzimuthExportVC::AzimuthExportVC(const ScreenContext& context, QObject* parent)
    : UIViewController(parent), context_(context),
      filenameLbl(new UILabel(this)),
      filename(new UITextField(this)),
      exportTitleLbl(new UILabel(this)),
      statusLbl(new UILabel(this)),
      watcher_(new QFutureWatcher<DocumentFolder::WriteResult>(this)) {
    appDelegate = context.appDelegate;
    connect(watcher_, &QFutureWatcherBase::finished, this, [this] {
        const DocumentFolder::WriteResult result = watcher_->result();
        busy_ = false;
        emit busyChanged();
        if (!result.ok) {
            statusLbl->setText(tr("Could not write %1: %2").arg(result.path, result.error));
            qDebug().noquote() << "azimuth export: could not write" << result.path << result.error;
            emit exportFinished(false, result.path);
            return;
        }
        const QString note = tr("Azimuths written to %1").arg(result.path);
        statusLbl->setText(note);
        if (appDelegate) appDelegate->showNotice(note);
        emit exportFinished(true, result.path);
        popViewController(true);
    });
}

void AzimuthExportVC::viewDidLoad() {
    forceLightStyle();
    filenameLbl->setText(tr("filename"));
    exportTitleLbl->setText(tr("export azimuth markers to file"));
    setTitle(tr("export"));
    if (!appDelegate) return;
    NSManagedObjectContext* c = appDelegate->persistentContainer()->viewContext();
    if (!c) return;
    const auto fetched = c->fetchAllOrLog<Azimuth>();
    if (!fetched) return;
    azymuty = *fetched;
}

QByteArray AzimuthExportVC::exportText() const {
    QList<AzimuthFile::Entry> entries;
    for (const Azimuth* a : azymuty) {
        // An object deleted since the list was fetched is left out.
        if (!a || a->isDeleted()) continue;
        entries << AzimuthFile::Entry{a->azimuth(), a->distance(), a->desc(), a->colorRed(), a->colorGreen(),
                                      a->colorBlue()};
    }
    UserDefaults& defaults = *context_.defaults;
    return AzimuthFile::exportText(defaults.doubleForKey(SettingsKey::latitude),
                                   defaults.doubleForKey(SettingsKey::longitude), entries);
}

void AzimuthExportVC::exportAzimuths() {
    if (busy_) return;
    const QByteArray text = exportText();
    const QString name = filename->text().isNull() ? QString(QLatin1String("")) : filename->text();
    const QString folder = DocumentFolder::path(context_.paths, QStringLiteral("azimuths"));
    const QString stamp = DocumentFolder::stamp(context_.clock->now());
    busy_ = true;
    emit busyChanged();
    statusLbl->setText(QString());
    watcher_->setFuture(QtConcurrent::run(
        [folder, name, text, stamp] { return DocumentFolder::writeExport(folder, name, text, stamp); }));
}
