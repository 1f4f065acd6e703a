#include "GMSCoreClientParameters.h"

using namespace zenloft::wire;

GMSCoreClientParameters::GMSCoreClientParameters(Sender sender, QString storagePath, Clock timingClock,
                                                 Clock wallClock, std::unique_ptr<GMSClientParametersTimers> timers,
                                                 QObject* parent)
    : GMSClientParameters(std::move(sender), std::move(storagePath), std::move(timingClock), std::move(wallClock),
                          std::move(timers), parent)
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

void GMSCoreClientParameters::updateRequestInfo(Request& request) const
{
    request.mutable_request_info()->set_platform("ios:zenloft-linux");
    request.mutable_request_info()->set_application_version("0.1.0");
}
