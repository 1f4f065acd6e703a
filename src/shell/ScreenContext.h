#pragma once

#include "AppPaths.h"
#include "Clock.h"
#include "Geocoder.h"

class AppDelegate;
class RealmConfiguration;
class LocationServices;
class SoundPlayer;
class UserDefaults;

// The long-lived services a screen works with. main() builds them once and
// the navigation registry's factories hand this to every screen; tests build
// their own with fakes. None of the objects is owned here: they outlive every
// screen.
struct ScreenContext {
    AppDelegate* appDelegate = nullptr;     // the store container, problems and notices
    RealmConfiguration* realm = nullptr;    // the point list and the logged tracks
    UserDefaults* defaults = nullptr;       // the settings store
    LocationServices* location = nullptr;   // position, compass and permission
    zl::Clock* clock = nullptr;             // time and timers
    SoundPlayer* sound = nullptr;           // the system sounds
    Geocoder::Config geocoder;              // address search
    AppPaths paths{AppPaths::defaultDataDir()};  // the data and document folders
};
