#include "GMSCacheLog.h"

Q_LOGGING_CATEGORY(lcMapCache, "zenloft.mapengine.cache")
