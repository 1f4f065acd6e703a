#pragma once

#include <QString>
#include <QStringList>

// What the command line, the environment and the settings file say about
// this run. The command line wins over the environment, the environment
// over the settings file.
struct AppOptions {
    QString dataDir;
    QString apiKey;
    QString mapEndpoint;
    QString locationSource;
    bool selfTest = false;
    bool exitAfterFirstFrame = false;  // prints when the menu was first drawn (start-up timing)
    QString screenshot;      // grab the window to this PNG and quit
    QStringList openSegues;  // screens to open from the menu before that
    int screenshotDelayMs = 800;

    static AppOptions parse(const QStringList& arguments, QString* error);
};
