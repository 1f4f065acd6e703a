#include "ImportFolder.h"

#include "Clock.h"

#include <QFileInfo>
#include <QtConcurrent/QtConcurrentRun>

ImportFolder::ImportFolder(const AppPaths& paths, zl::Clock* clock, const QString& folder, QObject* parent)
    : QObject(parent), path_(DocumentFolder::path(paths, folder)), clock_(clock),
      listWatcher_(new QFutureWatcher<DocumentFolder::Listing>(this)),
      copyWatcher_(new QFutureWatcher<DocumentFolder::WriteResult>(this)) {
    connect(listWatcher_, &QFutureWatcherBase::finished, this, [this] {
        const DocumentFolder::Listing listing = listWatcher_->result();
        files.clear();
        for (const QString& file : listing.files) files << QUrl::fromLocalFile(file);
        qint64 chosen = -1;
        for (int i = 0; i < files.size(); ++i)
            if (!pendingSelect_.isEmpty() && files[i].toLocalFile() == pendingSelect_) chosen = i;
        pendingSelect_.clear();
        select(chosen);
        if (table_) table_->reloadData();
        emit filesListed();
    });
    connect(copyWatcher_, &QFutureWatcherBase::finished, this, [this] {
        const DocumentFolder::WriteResult result = copyWatcher_->result();
        setCopying(false);
        if (!result.ok) {
            emit copyFinished(false, tr("Could not copy the file into the folder: %1").arg(result.error));
            return;
        }
        list(result.path);
        emit copyFinished(true, tr("Copied as %1").arg(QFileInfo(result.path).fileName()));
    });
}

void ImportFolder::list(const QString& select) {
    pendingSelect_ = select;
    const QString folder = path_;
    listWatcher_->setFuture(QtConcurrent::run([folder] { return DocumentFolder::list(folder); }));
}

void ImportFolder::copyFileIntoFolder(const QUrl& file) {
    if (copying_) return;
    if (!file.isLocalFile()) {
        emit copyFinished(false, tr("Only files on this device can be copied."));
        return;
    }
    const QString source = file.toLocalFile();
    const QString folder = path_;
    const QString stamp = DocumentFolder::stamp(clock_->now());
    setCopying(true);
    copyWatcher_->setFuture(
        QtConcurrent::run([folder, source, stamp] { return DocumentFolder::copyInto(folder, source, stamp); }));
}

void ImportFolder::showIn(UITableView* table) {
    table_ = table;
    table_->setDataSource(this);
    table_->reloadData();
}

QString ImportFolder::titleForHeaderInSection(int) const { return QFileInfo(path_).fileName(); }

UITableViewCell ImportFolder::cellForRowAtIndexPath(int, int row) const {
    return {QStringLiteral("importCell"), {{"file", files.value(row).fileName()}, {"selected", row == selectedFile}}};
}

void ImportFolder::select(qint64 row) {
    if (selectedFile == row) return;
    selectedFile = row;
    if (table_) table_->reloadData();
    emit selectedFileChanged();
}

QString ImportFolder::selectedPath() const {
    if (selectedFile < 0 || selectedFile >= files.size()) return QString();
    return files.at(selectedFile).toLocalFile();
}

void ImportFolder::setCopying(bool copying) {
    if (copying_ == copying) return;
    copying_ = copying;
    emit copyingChanged();
}
