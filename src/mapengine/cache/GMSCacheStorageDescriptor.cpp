#include "GMSCacheStorageDescriptor.h"

#include <QDir>
#include <QFile>
#include <QStringList>

QString GMSCacheStorageDescriptor::directoryPath() const {
    return QDir(cachesDir).filePath(QStringLiteral("GMSCacheStorage-%1").arg(name));
}

QString GMSCacheStorageDescriptor::storePath() const {
    return QDir(directoryPath()).filePath(name + QStringLiteral(".sqlite"));
}

GMSCacheStorageDescriptor GMSCacheStorageDescriptor::cacheStorageDescriptorForName(
    const QString& name, const QString& boundaryVersion, const QString& cachesDir, const QString& lastRunVersion) {
    GMSCacheStorageDescriptor d;
    d.name = name;
    d.boundaryVersion = boundaryVersion;
    d.cachesDir = cachesDir;
    if (lastRunVersion.isEmpty() || compareVersions(lastRunVersion, boundaryVersion) < 0) {
        const QString store = d.storePath();
        for (const QString& suffix : {QString(), QStringLiteral("-wal"), QStringLiteral("-shm")})
            QFile::remove(store + suffix);
    }
    return d;
}

int GMSCacheStorageDescriptor::compareVersions(const QString& a, const QString& b) {
    const QStringList pa = a.split(QLatin1Char('.'));
    const QStringList pb = b.split(QLatin1Char('.'));
    const qsizetype n = std::max(pa.size(), pb.size());
    for (qsizetype i = 0; i < n; ++i) {
        const qlonglong va = i < pa.size() ? pa[i].toLongLong() : 0;
        const qlonglong vb = i < pb.size() ? pb[i].toLongLong() : 0;
        if (va != vb) return va < vb ? -1 : 1;
    }
    return 0;
}
