#include "GMSCacheNotificationCenter.h"

GMSCacheNotificationCenter* GMSCacheNotificationCenter::instance() {
    static GMSCacheNotificationCenter center;
    return &center;
}
