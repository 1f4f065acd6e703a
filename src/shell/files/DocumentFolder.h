#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

class AppPaths;

// The folders below the documents through which users exchange files
// ("azimuths", "markers", ...). Everything here touches the disk and runs on
// a worker thread; the screens get the results back on the GUI thread.
namespace DocumentFolder {

QString path(const AppPaths& paths, const QString& folder);

// "yyyy.MM.dd_HH.mm.ss" of a moment, in local time.
QString stamp(const QDateTime& when);

struct Listing {
    QStringList files;  // absolute paths, by name; hidden entries and folders too
    QString error;      // empty when the folder could be read
};
Listing list(const QString& folder);

// A file name made of what the user typed: the text stays as it is, except
// that a "/" or a zero character (which would lead out of the folder or
// can't stand in a name) becomes "_". An empty text stays empty, so that
// "<name>.json" is still a name inside the folder.
QString safeName(const QString& typed);

struct WriteResult {
    bool ok = false;
    QString path;   // the file written, or the one that couldn't be
    QString error;
};
// Writes bytes to the path `first`, or to `second` when `first` exists,
// making the folder of the one written. An existing file is never
// overwritten: when both are taken the write is refused.
WriteResult writeFirstFree(const QString& first, const QString& second, const QByteArray& bytes);

// Writes text to "<name>.json" in the folder, or "<name>_<stamp>.json" when
// that exists (see writeFirstFree).
WriteResult writeExport(const QString& folder, const QString& typedName, const QByteArray& text,
                        const QString& stamp);

// Copies a file from elsewhere into the folder under its own name, or
// "<base>_<stamp>.<suffix>" when that is taken; never overwrites.
WriteResult copyInto(const QString& folder, const QString& source, const QString& stamp);

struct ReadResult {
    bool ok = false;
    QByteArray bytes;
    QString error;
};
ReadResult read(const QString& file);

}  // namespace DocumentFolder
