#include "ptpMarkersExport.h"

#include "AppDelegate.h"
#include "Clock.h"

#include <QDebug>
#include <QDir>
#include <QtConcurrent/QtConcurrentRun>

ptpMarkersExport::ptpMarkersExport(const ScreenContext& context, QObject* parent)
    : UIViewController(parent), context_(context),
      titleTXT(new UILabel(this)),
      filename(new UITextField(this)),
      statusLabel(new UILabel(this)),
      filenameLbl(new UILabel(this)),
      exportTitleLbl(new UILabel(this)),
      countWatcher_(new QFutureWatcher<qsizetype>(this)),
      watcher_(new QFutureWatcher<Outcome>(this)) {
    appDelegate = context.appDelegate;
    connect(countWatcher_, &QFutureWatcherBase::finished, this, [this] {
        const qsizetype n = countWatcher_->result();
        if (n > 99)
            titleTXT->setText(QStringLiteral("%1 %2 %3\n%4").arg(tr("found")).arg(n).arg(tr("entries"),
                                                                                       tr("export can take a while")));
        else
            titleTXT->setText(QStringLiteral("%1 %2 %3").arg(tr("found")).arg(n).arg(tr("entries")));
        emit counted(n);
    });
    connect(watcher_, &QFutureWatcherBase::progressValueChanged, this, &ptpMarkersExport::showProgress);
    connect(watcher_, &QFutureWatcherBase::finished, this, [this] {
        const Outcome outcome = watcher_->result();
        job_.reset();
        setBusy(false);
        const DocumentFolder::WriteResult& result = outcome.write;
        if (!result.ok) {
            titleTXT->setText(tr("the file was not written"));
            statusLabel->setText(tr("Could not write %1: %2").arg(result.path, result.error));
            qDebug().noquote() << "point export: could not write" << result.path << result.error;
            emit exportFinished(false, result.path);
            return;
        }
        titleTXT->setText(tr("done"));
        const QString note = tr("%1 points written to %2").arg(outcome.count).arg(result.path);
        statusLabel->setText(note);
        if (appDelegate) appDelegate->showNotice(note);
        emit exportFinished(true, result.path);
        popViewController(true);
    });
}

void ptpMarkersExport::viewDidLoad() {
    forceLightStyle();
    setTitle(tr("export"));
    exportTitleLbl->setText(tr("export markers to file"));
    filenameLbl->setText(tr("filename"));
    // Counting may open the store, which reads its file: not on this thread.
    RealmConfiguration* config = context_.realm;
    countWatcher_->setFuture(QtConcurrent::run([config]() -> qsizetype {
        if (!config) return 0;
        QString error;
        const std::shared_ptr<Realm> realm = config->open(&error);
        if (!realm) {
            qDebug().noquote() << "could not fetch: " + error;
            return 0;
        }
        return realm->points().count();
    }));
}

void ptpMarkersExport::exportPoints() {
    if (busy_) return;
    // The typed name, kept inside the folder: "/" can't lead out of it.
    const QString name = DocumentFolder::safeName(filename->text().isNull() ? QString(QLatin1String(""))
                                                                              : filename->text());
    const QString stamp = DocumentFolder::stamp(context_.clock->now());
    const QString first = QDir(DocumentFolder::path(context_.paths, QStringLiteral("markers")))
                              .filePath(name + QStringLiteral(".json"));
    const QString second = QDir(DocumentFolder::path(context_.paths, QStringLiteral("azimuths")))
                               .filePath(name + QLatin1Char('_') + stamp + QStringLiteral(".json"));
    RealmConfiguration* realm = context_.realm;
    setBusy(true);
    statusLabel->setText(QString());
    auto job = job_ = std::make_shared<PointFile::Job>();
    watcher_->setFuture(QtConcurrent::run([realm, first, second, job](QPromise<Outcome>& promise) {
        int tick = 0;
        // Qt passes at most a few wake-ups a second on to the screen.
        promise.addResult(exportFile(realm, first, second, *job, [&promise, &tick] { promise.setProgressValue(++tick); }));
    }));
}

ptpMarkersExport::Outcome ptpMarkersExport::exportFile(RealmConfiguration* config, const QString& first,
                                                       const QString& second, PointFile::Job& job,
                                                       const std::function<void()>& wake) {
    Outcome outcome;
    QString error;
    const std::shared_ptr<Realm> realm = config ? config->open(&error) : nullptr;
    if (!realm) {
        outcome.write.path = first;
        outcome.write.error = config ? error : tr("there is no store for the points");
        return outcome;
    }
    const QList<realm_ptp> points = realm->points().toList();
    const QString preparing = tr("preparing data");
    const QByteArray text = PointFile::exportText(points, [&](qsizetype done, qsizetype total) {
        job.set(preparing, done, total);
        if (wake) wake();
    });
    job.set(tr("saving data to file"));
    if (wake) wake();
    outcome.count = points.size();
    outcome.write = DocumentFolder::writeFirstFree(first, second, text);
    return outcome;
}

void ptpMarkersExport::showProgress() {
    if (!job_) return;
    const PointFile::Job::State s = job_->state();
    if (s.total > 0)
        titleTXT->setText(QStringLiteral("%1: %2/%3").arg(s.phase).arg(s.done).arg(s.total));
    else
        titleTXT->setText(s.phase);
}

void ptpMarkersExport::setBusy(bool busy) {
    if (busy_ == busy) return;
    busy_ = busy;
    emit busyChanged();
}
