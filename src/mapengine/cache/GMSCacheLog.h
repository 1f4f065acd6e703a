#pragma once

#include <QLoggingCategory>

// Notes of the engine's caches. Failures that the cache recovers from by
// itself go to debug; only the loss of a whole disk cache is a warning.
Q_DECLARE_LOGGING_CATEGORY(lcMapCache)
