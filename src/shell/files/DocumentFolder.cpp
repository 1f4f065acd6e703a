#include "DocumentFolder.h"

#include "AppPaths.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace DocumentFolder {

QString path(const AppPaths& paths, const QString& folder) { return paths.documentsPath(folder); }

QString stamp(const QDateTime& when) {
    return when.toLocalTime().toString(QStringLiteral("yyyy.MM.dd_HH.mm.ss"));
}

Listing list(const QString& folder) {
    Listing out;
    QDir dir(folder);
    if (!dir.exists()) {
        out.error = QStringLiteral("The folder doesn't exist.");
        qDebug().noquote() << "Error while enumerating files " + folder + ": " + out.error;
        return out;
    }
    const QFileInfoList entries =
        dir.entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System, QDir::Name);
    if (entries.isEmpty() && !QFileInfo(folder).isReadable()) {
        out.error = QStringLiteral("The folder can't be read.");
        qDebug().noquote() << "Error while enumerating files " + folder + ": " + out.error;
        return out;
    }
    for (const QFileInfo& e : entries) out.files << e.absoluteFilePath();
    return out;
}

QString safeName(const QString& typed) {
    QString name = typed;
    name.replace(u'/', u'_');
    name.replace(QChar(0), u'_');
    return name;
}

namespace {

bool makeFolder(const QString& folder) {
    if (QDir().mkpath(folder)) return true;
    qDebug().noquote() << "Unable to create directory: " + folder;
    return false;
}

// Creates the file only if no file of that name exists, so that a race with
// another writer can't overwrite it either.
WriteResult writeNew(const QString& target, const QByteArray& bytes) {
    WriteResult r;
    r.path = target;
    QFile file(target);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
        r.error = file.errorString();
        return r;
    }
    if (file.write(bytes) != bytes.size() || !file.flush()) {
        r.error = file.errorString();
        file.close();
        file.remove();  // a half-written file is nobody's data
        return r;
    }
    file.close();
    r.ok = true;
    return r;
}

}  // namespace

WriteResult writeFirstFree(const QString& first, const QString& second, const QByteArray& bytes) {
    makeFolder(QFileInfo(first).absolutePath());
    if (!QFileInfo::exists(first)) {
        WriteResult r = writeNew(first, bytes);
        if (r.ok || !QFileInfo::exists(first)) return r;
    }
    makeFolder(QFileInfo(second).absolutePath());
    if (QFileInfo::exists(second)) {
        WriteResult r;
        r.path = second;
        r.error = QStringLiteral("both \"%1\" and \"%2\" already exist; try again in a second")
                      .arg(QFileInfo(first).fileName(), QFileInfo(second).fileName());
        return r;
    }
    return writeNew(second, bytes);
}

WriteResult writeExport(const QString& folder, const QString& typedName, const QByteArray& text,
                        const QString& stamp) {
    const QDir dir(folder);
    const QString name = safeName(typedName);
    return writeFirstFree(dir.filePath(name + QStringLiteral(".json")),
                          dir.filePath(name + QLatin1Char('_') + stamp + QStringLiteral(".json")), text);
}

WriteResult copyInto(const QString& folder, const QString& source, const QString& stamp) {
    QFile in(source);
    if (!in.open(QIODevice::ReadOnly)) {
        WriteResult r;
        r.path = source;
        r.error = in.errorString();
        return r;
    }
    const QByteArray bytes = in.readAll();
    if (in.error() != QFileDevice::NoError) {
        WriteResult r;
        r.path = source;
        r.error = in.errorString();
        return r;
    }
    const QFileInfo info(source);
    const QString name = info.fileName();
    const QString suffix = info.suffix();
    const QString base = suffix.isEmpty() ? name : name.left(name.size() - suffix.size() - 1);
    const QString second = base + QLatin1Char('_') + stamp + (suffix.isEmpty() ? QString() : QLatin1Char('.') + suffix);
    const QDir dir(folder);
    return writeFirstFree(dir.filePath(name), dir.filePath(second), bytes);
}

ReadResult read(const QString& file) {
    ReadResult r;
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly)) {
        r.error = f.errorString();
        return r;
    }
    r.bytes = f.readAll();
    if (f.error() != QFileDevice::NoError) {
        r.error = f.errorString();
        r.bytes.clear();
        return r;
    }
    r.ok = true;
    return r;
}

}  // namespace DocumentFolder
