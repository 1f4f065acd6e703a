#pragma once

class NavigationController;
class QQmlApplicationEngine;

namespace SelfTest {
// Opens every registered screen once above the menu and goes back; returns
// the process exit code: 0 when no page logged a warning.
int run(NavigationController& navigation, QQmlApplicationEngine& engine);
// Installs the handler that counts warnings (before anything loads).
void installWarningCounter();
// Warnings from here on count (what start-up reported before the pages
// load is the start-up's business).
void startCounting();
int warningCount();
}  // namespace SelfTest
