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
      folder_(new ImportFolder(context.paths, context.clock, QStringLiteral("azimuths"), this)),
      files(folder_->files),
      selectedFile(folder_->selectedFile),
      readWatcher_(new QFutureWatcher<ReadOutcome>(this)) {
    appDelegate = context.appDelegate;
    importButtons->setTitle(tr("import"));
    connect(importButtons, &UIButton::touchUpInside, this, &AzimutImportVC::importAzimuths);
    connect(folder_, &ImportFolder::selectedFileChanged, this, &AzimutImportVC::selectedFileChanged);
    connect(folder_, &ImportFolder::filesListed, this, &AzimutImportVC::filesListed);
    connect(folder_, &ImportFolder::copyingChanged, this, [this] { setBusy(folder_->copying()); });
    connect(folder_, &ImportFolder::copyFinished, this, [this](bool ok, const QString& message) {
        if (ok)
            statusLbl->setText(message);
        else
            fail(message);
        emit copyFinished(ok);
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
}

NSManagedObjectContext* AzimutImportVC::context() const {
    if (!appDelegate) return nullptr;
    return appDelegate->persistentContainer()->viewContext();
}

void AzimutImportVC::viewDidLoad() {
    forceLightStyle();
    selectFileToImport->setText(tr("select file to import"));
    deleteAllBeforeImportLabel->setText(tr("delete existing azimuths before import"));
    setTitle(tr("import"));
    folder_->showIn(tableView);
    folder_->list();
}

void AzimutImportVC::setBusy(bool busy) {
    if (busy_ == busy) return;
    busy_ = busy;
    emit busyChanged();
}

void AzimutImportVC::fail(const QString& message) {
    statusLbl->setText(message);
    qDebug().noquote() << "azimuth import:" << message;
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
    if (!busy_) folder_->copyFileIntoFolder(file);
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
