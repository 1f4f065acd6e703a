#include "AzimutImportVC.h"

#include "AppDelegate.h"
#include "settings/UserDefaults.h"

#include <QDebug>
#include <QFileInfo>
#include <QUuid>
#include <QtConcurrent/QtConcurrentRun>

AzimutImportVC::AzimutImportVC(const ScreenContext& context, QObject* parent)
    : UIViewController(parent), context_(context),
      selectFileToImport(new UILabel(this)),
      importButtons(new UIButton(this)),
      deleteAllBeforeImportLabel(new UILabel(this)),
      deleteAllAzimuths(new UISwitch(this)),
      tableView(new UITableView(this)),
      statusLbl(new UILabel(this)),
      listWatcher_(new QFutureWatcher<DocumentFolder::Listing>(this)),
      readWatcher_(new QFutureWatcher<ReadOutcome>(this)),
      copyWatcher_(new QFutureWatcher<DocumentFolder::WriteResult>(this)) {
    appDelegate = context.appDelegate;
    importButtons->setTitle(tr("import"));
    connect(importButtons, &UIButton::touchUpInside, this, &AzimutImportVC::importAzimuths);

    connect(listWatcher_, &QFutureWatcherBase::finished, this, [this] {
        const DocumentFolder::Listing listing = listWatcher_->result();
        files.clear();
        for (const QString& path : listing.files) files << QUrl::fromLocalFile(path);
        qint64 select = -1;
        for (int i = 0; i < files.size(); ++i)
            if (!pendingSelect_.isEmpty() && files[i].toLocalFile() == pendingSelect_) select = i;
        pendingSelect_.clear();
        setSelectedFile(select);
        tableView->reloadData();
        emit filesListed();
    });

    connect(readWatcher_, &QFutureWatcherBase::finished, this, [this] {
        const ReadOutcome outcome = readWatcher_->result();
        setBusy(false);
        if (!outcome.content) {
            fail(outcome.error);
            emit importFinished(false);
            return;
        }
        // The file is understood: only now may the stored azimuths go.
        if (!deleteAllAzimuths->isOn() || deleteAll()) importContent(*outcome.content);
        emit importFinished(true);
        popViewController(true);
    });

    connect(copyWatcher_, &QFutureWatcherBase::finished, this, [this] {
        const DocumentFolder::WriteResult result = copyWatcher_->result();
        setBusy(false);
        if (!result.ok) {
            fail(tr("Could not copy the file into the folder: %1").arg(result.error));
            emit copyFinished(false);
            return;
        }
        statusLbl->setText(tr("Copied as %1").arg(QFileInfo(result.path).fileName()));
        listFiles(result.path);
        emit copyFinished(true);
    });
}

QString AzimutImportVC::folderPath() const { return DocumentFolder::path(context_.paths, QStringLiteral("azimuths")); }

NSManagedObjectContext* AzimutImportVC::context() const {
    if (!appDelegate) return nullptr;
    return appDelegate->persistentContainer()->viewContext();
}

void AzimutImportVC::viewDidLoad() {
    forceLightStyle();
    selectFileToImport->setText(tr("select file to import"));
    deleteAllBeforeImportLabel->setText(tr("delete existing azimuths before import"));
    setTitle(tr("import"));
    tableView->setDataSource(this);
    listFiles();
}

void AzimutImportVC::listFiles(const QString& select) {
    pendingSelect_ = select;
    const QString folder = DocumentFolder::path(context_.paths, QStringLiteral("azimuths"));
    listWatcher_->setFuture(QtConcurrent::run([folder] { return DocumentFolder::list(folder); }));
}

void AzimutImportVC::setBusy(bool busy) {
    if (busy_ == busy) return;
    busy_ = busy;
    emit busyChanged();
}

void AzimutImportVC::setSelectedFile(qint64 row) {
    if (selectedFile == row) return;
    selectedFile = row;
    emit selectedFileChanged();
}

void AzimutImportVC::fail(const QString& message) {
    statusLbl->setText(message);
    qDebug().noquote() << "azimuth import:" << message;
}

int AzimutImportVC::numberOfRowsInSection(int) const { return int(files.size()); }

// The list shows what lies in the one folder files are read from.
QString AzimutImportVC::titleForHeaderInSection(int) const { return QStringLiteral("azimuths"); }

UITableViewCell AzimutImportVC::cellForRowAtIndexPath(int, int row) const {
    return {QStringLiteral("importCell"),
            {{"file", files.value(row).fileName()}, {"selected", row == selectedFile}}};
}

void AzimutImportVC::didSelectRowAtIndexPath(int, int row) {
    setSelectedFile(row);
    tableView->reloadData();
}

void AzimutImportVC::importAzimuths() {
    if (selectedFile < 0 || selectedFile >= files.size() || busy_) return;
    const QString path = files.at(selectedFile).toLocalFile();
    statusLbl->setText(QString());
    setBusy(true);
    readWatcher_->setFuture(QtConcurrent::run([path] {
        ReadOutcome outcome;
        const DocumentFolder::ReadResult read = DocumentFolder::read(path);
        const QString name = QFileInfo(path).fileName();
        if (!read.ok) {
            outcome.error = QObject::tr("%1 can't be read (%2). Nothing was changed.").arg(name, read.error);
            return outcome;
        }
        QString why;
        outcome.content = AzimuthFile::parse(read.bytes, &why);
        if (!outcome.content)
            outcome.error = QObject::tr("%1 isn't an azimuth file: %2. Nothing was changed.").arg(name, why);
        return outcome;
    }));
}

void AzimutImportVC::copyFileIntoFolder(const QUrl& file) {
    if (busy_) return;
    if (!file.isLocalFile()) {
        fail(tr("Only files on this device can be copied."));
        emit copyFinished(false);
        return;
    }
    const QString source = file.toLocalFile();
    const QString folder = DocumentFolder::path(context_.paths, QStringLiteral("azimuths"));
    const QString stamp = DocumentFolder::stamp(context_.clock->now());
    setBusy(true);
    copyWatcher_->setFuture(
        QtConcurrent::run([folder, source, stamp] { return DocumentFolder::copyInto(folder, source, stamp); }));
}

bool AzimutImportVC::deleteAll() {
    NSManagedObjectContext* c = context();
    if (!c) return false;
    const auto all = c->fetchAllOrLog<Azimuth>();
    if (!all) return false;
    for (Azimuth* a : *all) c->deleteObject(a);
    QString error;
    if (!c->save(&error)) {
        qDebug().noquote() << "could not remove: " + error;
        return false;
    }
    return true;
}

void AzimutImportVC::importContent(const AzimuthFile::Content& content) {
    NSManagedObjectContext* c = context();
    if (!c || content.azimuths.isEmpty()) return;
    UserDefaults& defaults = *context_.defaults;
    for (const AzimuthFile::Entry& e : content.azimuths) {
        Azimuth* o = c->insertNewObject<Azimuth>();
        o->setAzimuth(e.azimuth);
        o->setDistance(e.distance);
        o->setColorRed(e.colorRed);
        o->setColorGreen(e.colorGreen);
        o->setColorBlue(e.colorBlue);
        o->setDesc(e.desc);
        o->setId(QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper());
        QString error;
        if (!c->save(&error)) {
            qDebug().noquote() << "could not save: " + error;
            continue;
        }
        if (content.latitude != 0.0 && content.longitude != 0.0) {
            defaults.setDouble(content.latitude, SettingsKey::latitude);
            defaults.setDouble(content.longitude, SettingsKey::longitude);
            defaults.setBool(true, SettingsKey::useGeocoder);
        }
    }
}
