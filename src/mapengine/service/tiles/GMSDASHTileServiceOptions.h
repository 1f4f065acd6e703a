#pragma once

#include "GMSTileType.h"

#include <QUrl>

#include <vector>

struct GMSDASHTileServiceOptions {
    GMSTileType tileType;
    int tileEdgeLength = 256;
    int textSize = 0;
    double screenScale = 1.0;
    int maxRequestsPerBatch = 50;
    std::vector<int> tileFormats;  // empty: PNG and JPEG for images
    int serviceFlags = 0;
    bool allowsCellularAccess = true;
    bool largestDeviceClass = false;
    // The framed connection's endpoint: relative paint server URLs are taken
    // from there.
    QUrl dashEndpointURL;
};
