#pragma once

#include "screens/LocationChooserVC.h"

// The manual position of the azimuth lines: "latitude", "longitude" and
// "useGeocoder". A stored point on the equator or the prime meridian counts
// as none when the screen loads.
class SettingsLocationVC : public LocationChooserVC {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UILabel* pointLocationTXT MEMBER pointLocationTXT CONSTANT)

public:
    explicit SettingsLocationVC(const ScreenContext& context, QObject* parent = nullptr);

    void viewDidLoad() override;

    UILabel* pointLocationTXT;
};
