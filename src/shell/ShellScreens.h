#pragma once

class NavigationController;
struct ScreenContext;

namespace ShellScreens {
// Registers the shell's screens ("settings", "help") and puts the menu,
// made with the given services, at the root of the stack.
void registerScreens(NavigationController& navigation);
void showMenu(NavigationController& navigation, const ScreenContext& context);
}  // namespace ShellScreens
