#pragma once

#include "GMSClientParameters.h"
#include "GMSTileTypeExpirations.h"

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QUrl>

// The map engine's groups on top of the base ones, and what the tile
// services and the style tables read from them.
class GMSCoreClientParameters : public GMSClientParameters {
    Q_OBJECT
public:
    // One style table of the paint epoch, its URL resolved.
    struct StyleTableMapping {
        QUrl URL;
        int styleTableFormat = 0;
        int mapStyle = 0;
        friend bool operator==(const StyleTableMapping&, const StyleTableMapping&) = default;
    };

    GMSCoreClientParameters(Sender sender, QString storagePath, zl::Clock* clock, QObject* parent = nullptr);

    // Relative URLs that the service sends (style tables, the paint server)
    // are taken from here: the service endpoint.
    void setServiceEndpoint(const QUrl& endpoint) { m_serviceEndpoint = endpoint; }
    const QUrl& serviceEndpoint() const { return m_serviceEndpoint; }

    // Tile expiry from the expirations, vector maps and paint groups.
    GMSTileTypeExpirations tileTypeExpirations() const;
    // -1 when the service sent none.
    int diskCacheServerSchemaVersion() const;

    // The style tables group: 0 when the service named no epoch.
    qint32 paintEpoch() const;
    // Entries without a URL are left out.
    QList<StyleTableMapping> styleTableMappingArray() const;
    // Asks the service again unless the parameters in hand already name
    // this epoch (a tile or a table of a newer epoch was met).
    void refetchClientParametersExpectingPaintEpoch(qint32 epoch);

    // The paint group: empty URL when the service offers no paint route.
    QUrl paintServerBaseURL() const;
    QByteArray requestSigningKey() const;
    // Vector maps: tile types fetched through the paint route.
    QSet<int> directToPaintEnabledTileTypes() const;

protected:
    void updateRequestInfo(Request& request) const override;
    bool updateTypedParamGroup(const Group& group) override;

private:
    QUrl resolved(const std::string& url) const;

    QUrl m_serviceEndpoint;
};
