#pragma once

#include <QObject>
#include <QString>

// Names of the caches' notifications.
inline const QString kGMSObjectDataCacheDeleteCaches = QStringLiteral("kGMSObjectDataCacheDeleteCaches");
inline const QString kGMSVectorTileServicesCacheIsNilNotification =
    QStringLiteral("kGMSVectorTileServicesCacheIsNilNotification");

// The engine-wide board for the caches' notifications. post() may be called
// from any thread; receivers connect to `posted` with the connection type
// they need.
class GMSCacheNotificationCenter : public QObject {
    Q_OBJECT
public:
    static GMSCacheNotificationCenter* instance();
    void post(const QString& name) { emit posted(name); }

signals:
    void posted(const QString& name);
};
