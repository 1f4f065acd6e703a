#pragma once

#include "PtpTypes.h"
#include "screens/LocationChooserVC.h"

// The map tab of the location container: sets the from point ("latitude",
// "longitude", "useGeocoder") or the target ("toLatitude", "toLongitude",
// "toUseGeocoder") by a long press or an address search. The target is
// always manual; a long press for it clears its stored name.
class PtpSettingsMap : public LocationChooserVC {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UILabel* locationTXT MEMBER locationTXT CONSTANT)

public:
    explicit PtpSettingsMap(const ScreenContext& context, QObject* parent = nullptr);

    void viewDidLoad() override;
    void viewDidAppear(bool animated) override;

    UILabel* locationTXT;
    bool toUseGeocoder = false;
    qint64 markerRed = 0;
    qint64 markerGreen = 0;
    qint64 markerBlue = 0;
    bool toIsMarkerConfigured = false;
    pointType type = pointType::from;  // set by the settings screen before this loads

protected:
    void storePoint(CLLocationCoordinate2D coordinate, bool byLongPress) override;
    void storeManualFlag(bool manual) override;

private:
    struct Keys {
        QString latitude, longitude, manual;
    };
    Keys keys() const;
};
