#include "GMSCoreClientParameters.h"

#include <QLoggingCategory>

using namespace zenloft::wire;

namespace {
Q_LOGGING_CATEGORY(lcCoreParams, "zenloft.mapengine.params")
}

GMSCoreClientParameters::GMSCoreClientParameters(Sender sender, QString storagePath, zl::Clock* clock,
                                                 QObject* parent)
    : GMSClientParameters(std::move(sender), std::move(storagePath), clock, parent)
{
    addGroupTypes({PARAMETER_GROUP_API, PARAMETER_GROUP_VECTOR_MAPS, PARAMETER_GROUP_STYLE_TABLES,
                   PARAMETER_GROUP_RESOURCES, PARAMETER_GROUP_PAINT, PARAMETER_GROUP_EXPIRATIONS,
                   PARAMETER_GROUP_TILE_ZOOM_PROGRESSION, PARAMETER_GROUP_PERSONALIZATION,
                   PARAMETER_GROUP_NAVIGATION});
}

GMSTileTypeExpirations GMSCoreClientParameters::tileTypeExpirations() const
{
    return GMSTileTypeExpirations::expirationsWithNoExpiry()
        .copyWithExpirationsProto(paramGroup(PARAMETER_GROUP_EXPIRATIONS).expirations())
        .copyWithVectorMapsParametersProto(paramGroup(PARAMETER_GROUP_VECTOR_MAPS).vector_maps())
        .copyWithPaintRequestTemplates(paramGroup(PARAMETER_GROUP_PAINT).paint().paint_request_template_array());
}

int GMSCoreClientParameters::diskCacheServerSchemaVersion() const
{
    const auto g = paramGroup(PARAMETER_GROUP_VECTOR_MAPS);
    return g.vector_maps().has_disk_cache_server_schema_version() ? g.vector_maps().disk_cache_server_schema_version()
                                                                  : -1;
}

QUrl GMSCoreClientParameters::resolved(const std::string& url) const
{
    const QUrl u(QString::fromStdString(url));
    if (u.isRelative() && m_serviceEndpoint.isValid())
        return m_serviceEndpoint.resolved(u);
    return u;
}

qint32 GMSCoreClientParameters::paintEpoch() const
{
    return paramGroup(PARAMETER_GROUP_STYLE_TABLES).style_tables().paint_epoch();
}

QList<GMSCoreClientParameters::StyleTableMapping> GMSCoreClientParameters::styleTableMappingArray() const
{
    QList<StyleTableMapping> out;
    const auto g = paramGroup(PARAMETER_GROUP_STYLE_TABLES);
    for (const auto& m : g.style_tables().style_table_mapping_array()) {
        if (m.url().empty())
            continue;
        out.append({resolved(m.url()), m.style_table_format(), m.map_style()});
    }
    return out;
}

void GMSCoreClientParameters::refetchClientParametersExpectingPaintEpoch(qint32 epoch)
{
    if (epoch == paintEpoch())
        return;
    qCInfo(lcCoreParams, "paint epoch %d expected, %d in hand: asking for client parameters again", epoch,
           paintEpoch());
    refetchClientParameters();
}

QUrl GMSCoreClientParameters::paintServerBaseURL() const
{
    const auto g = paramGroup(PARAMETER_GROUP_PAINT);
    return g.paint().paint_server_base_url().empty() ? QUrl() : resolved(g.paint().paint_server_base_url());
}

QByteArray GMSCoreClientParameters::requestSigningKey() const
{
    const std::string key = paramGroup(PARAMETER_GROUP_PAINT).paint().request_signing_key();
    return QByteArray(key.data(), qsizetype(key.size()));
}

QSet<int> GMSCoreClientParameters::directToPaintEnabledTileTypes() const
{
    QSet<int> out;
    const Group g = paramGroup(PARAMETER_GROUP_VECTOR_MAPS);
    for (int t : g.vector_maps().direct_to_paint_enabled_tile_type_array())
        out.insert(t);
    return out;
}

bool GMSCoreClientParameters::updateTypedParamGroup(const Group& group)
{
    // A style table group that names tables must say which epoch they make
    // up; without one the tables could never become active.
    if (group.type() == PARAMETER_GROUP_STYLE_TABLES && group.has_style_tables() &&
        group.style_tables().style_table_mapping_array_size() > 0 && group.style_tables().paint_epoch() <= 0) {
        qCInfo(lcCoreParams, "style table parameters without a paint epoch are ignored");
        return false;
    }
    return true;
}

void GMSCoreClientParameters::updateRequestInfo(Request& request) const
{
    request.mutable_request_info()->set_platform("ios:zenloft-linux");
    request.mutable_request_info()->set_application_version("0.1.0");
}
