#pragma once

#include <QString>
#include <QStringList>

class NavigationController;
class QQmlApplicationEngine;

// Runs that drive the real app from outside, for measurements and pictures.
namespace Drivers {
// Prints when the menu was first drawn and, for each named menu button, the
// time from the tap to its screen's first frame and to the end of the page
// transition; then quits.
void timeStartup(QQmlApplicationEngine& engine, NavigationController& navigation, const QStringList& taps);
// Opens the named screens (menu buttons, segue identifiers or "back"), waits
// delayMs for them to draw, saves the window as a PNG and quits (exit code 1
// when the file could not be written).
void takeScreenshot(QQmlApplicationEngine& engine, NavigationController& navigation, const QStringList& open,
                    const QString& file, int delayMs);
}  // namespace Drivers
