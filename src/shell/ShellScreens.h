#pragma once

class NavigationController;

namespace ShellScreens {
// Registers the shell's screens ("settings", "help") and puts the menu at
// the root of the stack.
void registerScreens(NavigationController& navigation);
void showMenu(NavigationController& navigation);
}  // namespace ShellScreens
