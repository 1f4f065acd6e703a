#pragma once

class NavigationController;
struct ScreenContext;

namespace AzimuthScreens {
// Registers the azimuth area's screens under their segue identifiers:
// "azimuthVC", "settingsVC", "azimuth_settings", "newAzimuth",
// "importAzimuths", "exportAzimuths" and "changeLocation". Each screen is
// made with the given services.
void registerScreens(NavigationController& navigation, const ScreenContext& context);
}  // namespace AzimuthScreens
