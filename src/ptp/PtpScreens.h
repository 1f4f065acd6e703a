#pragma once

class NavigationController;
struct ScreenContext;

namespace PtpScreens {
// Registers the point-to-point area's screens under their segue
// identifiers, each made with the given services.
void registerScreens(NavigationController& navigation, const ScreenContext& context);
}  // namespace PtpScreens
