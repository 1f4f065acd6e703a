#include "ptpSettingsImport.h"

#include "AppDelegate.h"
#include "files/DocumentFolder.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QUuid>
#include <QtConcurrent/QtConcurrentRun>

ptpSettingsImport::ptpSettingsImport(const ScreenContext& context, QObject* parent)
    : UIViewController(parent), context_(context),
      deleteAllPoints(new UISwitch(this)),
      tableView(new UITableView(this)),
      importBtn(new UIButton(this)),
      cancelBtn(new UIButton(this)),
      importInfo(new UIView(this)),
      importInfoText(new UILabel(this)),
      pleaseWaitLbl(new UILabel(this)),
      selectFileLbl(new UILabel(this)),
      clearDbLbl(new UILabel(this)),
      statusLbl(new UILabel(this)),
      folder_(new ImportFolder(context.paths, context.clock, QStringLiteral("markers"), this)),
      files(folder_->files),
      selectedFile(folder_->selectedFile),
      watcher_(new QFutureWatcher<Outcome>(this)) {
    appDelegate = context.appDelegate;
    importInfo->setHidden(true);
    importBtn->setTitle(tr("import"));
    cancelBtn->setTitle(tr("cancel"));
    connect(importBtn, &UIButton::touchUpInside, this, &ptpSettingsImport::importPoints);
    connect(cancelBtn, &UIButton::touchUpInside, this, &ptpSettingsImport::cancelImport);

    connect(folder_, &ImportFolder::selectedFileChanged, this, &ptpSettingsImport::selectedFileChanged);
    connect(folder_, &ImportFolder::filesListed, this, &ptpSettingsImport::filesListed);
    connect(folder_, &ImportFolder::copyFinished, this, [this](bool ok, const QString& message) {
        statusLbl->setText(message);
        if (!ok) qDebug().noquote() << "point import:" << message;
        emit copyFinished(ok);
    });

    connect(watcher_, &QFutureWatcherBase::progressValueChanged, this, &ptpSettingsImport::showProgress);
    connect(watcher_, &QFutureWatcherBase::finished, this, [this] {
        const Outcome outcome = watcher_->result();
        job_.reset();
        importInfo->setHidden(true);
        setProgress(-1.0);
        setImporting(false);
        if (outcome.ok) {
            emit importFinished(true);
            popViewController(true);
            return;
        }
        const QString why = outcome.cancelled ? tr("The import was cancelled. Nothing was changed.") : outcome.error;
        statusLbl->setText(why);
        qDebug().noquote() << "point import:" << why;
        emit importFinished(false);
    });
}

ptpSettingsImport::~ptpSettingsImport() {
    // Leaving the screen abandons a running import; the store stays as it was.
    if (job_) job_->cancelled = true;
}

void ptpSettingsImport::viewDidLoad() {
    forceLightStyle();
    setTitle(tr("import"));
    clearDbLbl->setText(tr("clear database before import"));
    selectFileLbl->setText(tr("select file to import"));
    pleaseWaitLbl->setText(tr("please wait"));
    folder_->showIn(tableView);
    // "ptp" is kept for point files to come; nothing is read from it yet.
    const QString ptp = DocumentFolder::path(context_.paths, QStringLiteral("ptp"));
    (void)QtConcurrent::run([ptp] {
        if (!QDir().mkpath(ptp)) qDebug().noquote() << "Unable to create directory " + ptp;
    });
    folder_->list();
}

void ptpSettingsImport::copyFileIntoFolder(const QUrl& file) {
    if (!isImportingData) folder_->copyFileIntoFolder(file);
}

void ptpSettingsImport::importPoints() {
    if (selectedFile < 0 || selectedFile >= files.size() || isImportingData) return;
    const QString path = folder_->selectedPath();
    const bool clearFirst = deleteAllPoints->isOn();
    RealmConfiguration* realm = context_.realm;
    setImporting(true);
    statusLbl->setText(QString());
    importInfoText->setText(tr("please wait..."));
    importInfo->setHidden(false);
    setProgress(-1.0);
    auto job = job_ = std::make_shared<PointFile::Job>();
    watcher_->setFuture(QtConcurrent::run([realm, path, clearFirst, job](QPromise<Outcome>& promise) {
        int tick = 0;
        // Qt passes at most a few wake-ups a second on to the screen.
        const auto wake = [&promise, &tick] { promise.setProgressValue(++tick); };
        if (!realm) {
            promise.addResult(Outcome{false, false, tr("There is no store for the points. Nothing was changed."), 0});
            return;
        }
        promise.addResult(importFile(*realm, path, clearFirst, *job, wake));
    }));
}

void ptpSettingsImport::cancelImport() {
    if (job_) job_->cancelled = true;
}

ptpSettingsImport::Outcome ptpSettingsImport::importFile(RealmConfiguration& config, const QString& path,
                                                         bool clearFirst, PointFile::Job& job,
                                                         const std::function<void()>& wake) {
    const auto moved = [&](const QString& phase, qsizetype done = 0, qsizetype total = 0) {
        job.set(phase, done, total);
        if (wake) wake();
    };
    Outcome outcome;
    const QString name = QFileInfo(path).fileName();
    moved(tr("processing file, please wait..."));
    const DocumentFolder::ReadResult read = DocumentFolder::read(path);
    if (!read.ok) {
        outcome.error = tr("%1 can't be read (%2). Nothing was changed.").arg(name, read.error);
        return outcome;
    }
    QString why;
    const std::optional<QList<realm_ptp>> points = PointFile::parse(read.bytes, &why, &job.cancelled);
    if (job.cancelled) {
        outcome.cancelled = true;
        return outcome;
    }
    if (!points) {
        outcome.error = tr("%1 isn't a point file: %2. Nothing was changed.").arg(name, why);
        return outcome;
    }
    std::shared_ptr<Realm> realm = config.open(&why);
    if (!realm) {
        outcome.error = tr("The points can't be stored: %1. Nothing was changed.").arg(why);
        return outcome;
    }
    const qsizetype total = points->size();
    // Emptying and adding go in one write, so a refusal or a cancel leaves
    // the store exactly as it was.
    const bool written = realm->write(
        [&](Realm& r, QString*) {
            if (clearFirst) {
                moved(tr("I'm clearing database..."));
                r.remove(r.points());
            }
            for (qsizetype i = 0; i < total; ++i) {
                if (job.cancelled.load(std::memory_order_relaxed)) return false;
                realm_ptp p = points->at(i);
                p.id = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
                r.add(p);
                if (i % 10 == 0) moved(tr("saving data"), i, total);
            }
            return !job.cancelled.load();
        },
        &why);
    if (!written) {
        outcome.cancelled = job.cancelled.load();
        if (!outcome.cancelled) outcome.error = tr("The points can't be stored: %1. Nothing was changed.").arg(why);
        return outcome;
    }
    config.flush();
    outcome.ok = true;
    outcome.count = total;
    return outcome;
}

void ptpSettingsImport::showProgress() {
    if (!job_) return;
    const PointFile::Job::State s = job_->state();
    if (s.total > 0) {
        importInfoText->setText(QStringLiteral("%1: %2/%3").arg(s.phase).arg(s.done).arg(s.total));
        setProgress(double(s.done) / double(s.total));
    } else {
        importInfoText->setText(s.phase);
        setProgress(-1.0);
    }
}

void ptpSettingsImport::setImporting(bool importing) {
    if (isImportingData == importing) return;
    isImportingData = importing;
    emit busyChanged();
}

void ptpSettingsImport::setProgress(double progress) {
    if (progress_ == progress) return;
    progress_ = progress;
    emit progressChanged();
}
