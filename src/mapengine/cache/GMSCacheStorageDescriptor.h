#pragma once

#include <QString>

#include <functional>

// Where one disk cache store lies and how it is opened. The store named
// "Tiles" is the file "Tiles.sqlite" in the folder "GMSCacheStorage-Tiles"
// below the caches folder.
struct GMSCacheStorageDescriptor {
    QString name;
    QString boundaryVersion;
    QString cachesDir;
    QString modelName = QStringLiteral("GMSCacheStorage");
    // Runs (on the opening thread) when the store had to be rebuilt empty.
    std::function<void()> resetHandler;

    QString directoryPath() const;
    QString storePath() const;

    // The descriptor for a store; when the engine that ran last is older
    // than boundaryVersion (or unknown), the store's files are deleted first
    // because their format may no longer fit. lastRunVersion is what the
    // engine recorded in its user defaults at its previous run.
    static GMSCacheStorageDescriptor cacheStorageDescriptorForName(const QString& name,
                                                                   const QString& boundaryVersion,
                                                                   const QString& cachesDir,
                                                                   const QString& lastRunVersion);

    // Dotted version texts compared number by number; a missing part counts
    // as 0 ("3" == "3.0.0.0"), a part that is not a number as 0.
    static int compareVersions(const QString& a, const QString& b);
};

// The two stores of the engine and their boundary versions.
inline const QString kGMSTilesCacheName = QStringLiteral("Tiles");
inline const QString kGMSTilesCacheBoundaryVersion = QStringLiteral("3.0.0.0");
inline const QString kGMSObjectsCacheName = QStringLiteral("Objects");
inline const QString kGMSObjectsCacheBoundaryVersion = QStringLiteral("2.0.0.0");
