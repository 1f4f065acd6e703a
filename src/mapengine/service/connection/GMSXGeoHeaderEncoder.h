#pragma once

#include "GMSDASHRequest.h"
#include "dash.pb.h"

#include <QByteArray>

#include <vector>

// Builds the X-Geo header: "w " and the web-safe base64 (no padding) of each
// serialised location descriptor, joined by one blank.
class GMSXGeoHeaderEncoder {
public:
    static QByteArray encodeWithLocationDescriptors(
        const std::vector<zenloft::wire::GMSx_GMMLocationDescriptorProto>& descriptors);

    // The connection's descriptors with the overrides of a group's requests
    // merged in: an override of a known producer is merged into that
    // descriptor, one of a new producer is added; among requests the first
    // to name a producer wins.
    static std::vector<zenloft::wire::GMSx_GMMLocationDescriptorProto> mergeOverrides(
        std::vector<zenloft::wire::GMSx_GMMLocationDescriptorProto> descriptors,
        const std::vector<GMSDASHRequestPtr>& requests);
};
