#pragma once

#include "AppPaths.h"
#include "files/DocumentFolder.h"
#include "ui/UITableView.h"

#include <QFutureWatcher>
#include <QList>
#include <QObject>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

namespace zl {
class Clock;
}

// The file list of an import screen: one folder below the documents, listed
// on a worker thread, the row the user chose, and a file from elsewhere
// copied into the folder (then listed and chosen). It is the data source of
// the screen's file table, headed by the folder's name.
class ImportFolder : public QObject, public UITableViewDataSource {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by its screen")
    Q_PROPERTY(QString path READ path CONSTANT)
    Q_PROPERTY(int selectedFile READ selectedRow NOTIFY selectedFileChanged)
    Q_PROPERTY(bool copying READ copying NOTIFY copyingChanged)

public:
    ImportFolder(const AppPaths& paths, zl::Clock* clock, const QString& folder, QObject* parent = nullptr);

    QString path() const { return path_; }
    // The table that shows the files; reloaded whenever they or the choice change.
    void showIn(UITableView* table);

    // Lists the folder on a worker; filesListed once the list is in.
    // `select` is the path of a file to choose when it is listed.
    void list(const QString& select = QString());
    // Copies a file into the folder on a worker, never overwriting (a taken
    // name gets the clock's stamp); copyFinished tells how it went, and a
    // copy is then listed and chosen. Only one copy runs at a time.
    Q_INVOKABLE void copyFileIntoFolder(const QUrl& file);

    // The rows: the last path component of each file, and whether it is chosen.
    int numberOfRowsInSection(int section) const override { return int(files.size()); }
    QString titleForHeaderInSection(int section) const override;
    UITableViewCell cellForRowAtIndexPath(int section, int row) const override;
    void didSelectRowAtIndexPath(int section, int row) override { select(row); }
    void select(qint64 row);
    // The chosen file's path, or empty when no row is chosen.
    QString selectedPath() const;

    int selectedRow() const { return int(selectedFile); }
    bool copying() const { return copying_; }

    // What is listed, in the listing's order, and the chosen row (-1: none).
    QList<QUrl> files;
    qint64 selectedFile = -1;

signals:
    void filesListed();
    void selectedFileChanged();
    void copyingChanged();
    // message says what became of the file, for the user.
    void copyFinished(bool ok, const QString& message);

private:
    void setCopying(bool copying);

    const QString path_;
    UITableView* table_ = nullptr;
    zl::Clock* clock_;
    QString pendingSelect_;
    bool copying_ = false;
    QFutureWatcher<DocumentFolder::Listing>* listWatcher_;
    QFutureWatcher<DocumentFolder::WriteResult>* copyWatcher_;
};
