#pragma once

// For targets that link the engine's map service setup; header only, so the
// support library itself stays free of the engine.
#include "MapServiceSetup.h"

#include <QDir>

namespace zltest {

// The engine's setup for a local map service, with its settings file and disk
// caches in folder.
inline MapServiceOptions localServiceOptions(const QUrl& endpoint, const QString& apiKey, const QString& folder)
{
    const QDir dir(folder);
    return {.endpoint = endpoint,
            .apiKey = apiKey,
            .settingsIniPath = dir.filePath(QStringLiteral("settings.ini")),
            .cacheDir = dir.filePath(QStringLiteral("caches"))};
}

}  // namespace zltest
