#include "LocationBackend.h"
