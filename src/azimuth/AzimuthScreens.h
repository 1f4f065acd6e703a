#pragma once

class NavigationController;

namespace AzimuthScreens {
// Registers the azimuth area's screens under their segue identifiers:
// "azimuthVC", "settingsVC", "azimuth_settings", "newAzimuth",
// "importAzimuths", "exportAzimuths" and "changeLocation".
void registerScreens(NavigationController& navigation);
}  // namespace AzimuthScreens
