#pragma once

#include <QtGlobal>

// What kind of tile a service fetches. dataType 0 is a raster image; 3, 5, 6,
// 7 and 8 are vector kinds.
struct GMSTileType {
    int tileFlags = 0;
    int mapTileType = 0;  // the service's tile type number (satellite 1, ...)
    quint32 tileVariant = 0;
    int dataType = 0;
    bool isStorable = true;  // may go in the disk cache
    bool wantsMultiZoomStyles = false;
    bool hasIndoorFeatures = false;
    int paintTileType = -1;  // the paint route's type, -1 for none

    friend bool operator==(const GMSTileType&, const GMSTileType&) = default;
};
