#include "AppOptions.h"

#include <QCommandLineParser>

AppOptions AppOptions::parse(const QStringList& arguments, QString* error) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Zenloft: antenna alignment and field validation"));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption dataDir(QStringLiteral("data-dir"),
                                     QStringLiteral("Folder for the stores, settings and documents."),
                                     QStringLiteral("dir"));
    const QCommandLineOption apiKey(QStringLiteral("api-key"), QStringLiteral("The map service's API key."),
                                    QStringLiteral("key"));
    const QCommandLineOption endpoint(QStringLiteral("map-endpoint"), QStringLiteral("The map service's URL."),
                                      QStringLiteral("url"));
    const QCommandLineOption location(QStringLiteral("location-source"),
                                      QStringLiteral("platform, nmea:<device>, nmea-file:<file> or replay:<file>."),
                                      QStringLiteral("source"));
    const QCommandLineOption selfTest(QStringLiteral("self-test"),
                                      QStringLiteral("Load every screen once, report QML warnings and quit."));
    const QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                        QStringLiteral("Save the window as a PNG and quit."), QStringLiteral("png"));
    const QCommandLineOption open(QStringLiteral("open"),
                                  QStringLiteral("Comma-separated screens to open before the screenshot."),
                                  QStringLiteral("segues"));
    const QCommandLineOption firstFrame(QStringLiteral("exit-after-first-frame"),
                                        QStringLiteral("Print when the menu was first drawn (ms since 1970) and quit."));
    parser.addOptions({dataDir, apiKey, endpoint, location, selfTest, screenshot, open, firstFrame});
    if (!parser.parse(arguments)) {
        if (error) *error = parser.errorText();
        return {};
    }
    if (parser.isSet(QStringLiteral("help"))) parser.showHelp(0);
    if (parser.isSet(QStringLiteral("version"))) parser.showVersion();

    AppOptions o;
    auto pick = [&](const QCommandLineOption& option, const char* env) {
        return parser.isSet(option) ? parser.value(option) : qEnvironmentVariable(env);
    };
    o.dataDir = pick(dataDir, "ZENLOFT_DATA_DIR");
    o.apiKey = pick(apiKey, "ZENLOFT_MAP_API_KEY");
    o.mapEndpoint = pick(endpoint, "ZENLOFT_MAP_ENDPOINT");
    o.locationSource = pick(location, "ZENLOFT_LOCATION_SOURCE");
    o.selfTest = parser.isSet(selfTest);
    o.exitAfterFirstFrame = parser.isSet(firstFrame);
    o.screenshot = parser.value(screenshot);
    if (parser.isSet(open)) o.openSegues = parser.value(open).split(QLatin1Char(','), Qt::SkipEmptyParts);
    return o;
}
